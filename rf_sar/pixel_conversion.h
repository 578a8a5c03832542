// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

/// Converts complex samples to 16-bit magnitude or phase.
///
///   magnitude  v = sqrt(I^2 + Q^2) * scale
///   phase      v = atan2(Q, I) * 10430.3783505, so that -pi..pi spans about -32768..32768
///   stored     the low 16 bits of the 32-bit integer that v + 0.5 truncates to, toward zero
///
/// all in double precision. Where v + 0.5 is NaN or does not fit 32 bits (infinities, float
/// samples beyond range), 0 is stored. A phase of exactly pi gives 32768.5, stored as the pattern
/// 0x8000. Magnitudes above 65535 wrap, as the low 16 bits say.
///
/// Pure functions, any thread, no allocation. `out` must not overlap the input.
namespace pixel_conversion {

enum class Quantity { magnitude, phase };

/// The destination of results, with strides in bytes. Results without gaps are fastest.
struct Output {
    void* first;
    std::ptrdiff_t lineStride;
    std::ptrdiff_t pixelStride;
};

/// @param words  width * height packed samples, line by line: low half I, high half Q, signed.
void fromPacked(const std::uint32_t* words, std::size_t width, std::size_t height,
                Quantity quantity, double scale, const Output& out);

/// @param real, imaginary  width * height float samples each, line by line.
void fromBands(const float* real, const float* imaginary, std::size_t width, std::size_t height,
               Quantity quantity, double scale, const Output& out);

/// @param parts  width * height pairs of floats, real part first, line by line.
void fromPairs(const float* parts, std::size_t width, std::size_t height, Quantity quantity,
               double scale, const Output& out);

/// The rule above for one sample, in its plain form; the other functions give the same bits much
/// faster.
std::uint16_t convert(double real, double imaginary, Quantity quantity, double scale);

} // namespace pixel_conversion
