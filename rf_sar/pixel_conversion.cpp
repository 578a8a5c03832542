// SPDX-License-Identifier: MIT
#include "pixel_conversion.h"

#include "pixel_kernels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace pixel_conversion {
namespace {

constexpr double phaseUnitsPerRadian = 10430.3783505;

std::uint16_t truncateToLow16(double value) {
    // Also false for NaN; values at both limits truncate to 32-bit integers.
    const bool fits = value > -2147483649.0 && value < 2147483648.0;
    const std::int32_t whole = fits ? static_cast<std::int32_t>(value) : 0;
    return static_cast<std::uint16_t>(static_cast<std::uint32_t>(whole) & 0xFFFFU);
}

/// @return whether results can be written in place, as contiguous 16-bit numbers.
bool isRow(const unsigned char* first, std::ptrdiff_t pixelStride) {
    return pixelStride == sizeof(std::uint16_t) &&
           reinterpret_cast<std::uintptr_t>(first) % alignof(std::uint16_t) == 0;
}

template <class Samples>
void scatterLine(Samples samples, Row row, unsigned char* out, std::ptrdiff_t pixelStride) {
    std::array<std::uint16_t, 1024> converted;
    row.out = converted.data();
    for (std::size_t left = row.count; left != 0; left -= row.count) {
        row.count = std::min(left, converted.size());
        convertRow(samples, row);
        for (std::size_t n = 0; n < row.count; ++n, out += pixelStride)
            std::memcpy(out, &converted[n], sizeof converted[n]);
        samples = samples.after(row.count);
    }
}

template <class Samples>
void convertLines(Samples samples, std::size_t width, std::size_t height, Row row,
                  const Output& out) {
    // Lines without a gap between them are treated as one.
    if (out.lineStride == static_cast<std::ptrdiff_t>(width) * out.pixelStride) {
        width *= height;
        height = std::min<std::size_t>(height, 1);
    }
    row.count = width;
    auto* first = static_cast<unsigned char*>(out.first);
    for (; height != 0; --height, first += out.lineStride, samples = samples.after(width)) {
        if (isRow(first, out.pixelStride)) {
            row.out = reinterpret_cast<std::uint16_t*>(first);
            convertRow(samples, row);
        } else {
            scatterLine(samples, row, first, out.pixelStride);
        }
    }
}

} // namespace

std::uint16_t convert(double real, double imaginary, Quantity quantity, double scale) {
    const double value = quantity == Quantity::magnitude
                             ? std::sqrt(real * real + imaginary * imaginary) * scale
                             : std::atan2(imaginary, real) * phaseUnitsPerRadian;
    return truncateToLow16(value + 0.5);
}

void fromPacked(const std::uint32_t* words, std::size_t width, std::size_t height,
                Quantity quantity, double scale, const Output& out) {
    convertLines(PackedWords{words}, width, height, {0, quantity, scale, nullptr}, out);
}

void fromBands(const float* real, const float* imaginary, std::size_t width, std::size_t height,
               Quantity quantity, double scale, const Output& out) {
    convertLines(FloatBands{real, imaginary}, width, height, {0, quantity, scale, nullptr}, out);
}

void fromPairs(const float* parts, std::size_t width, std::size_t height, Quantity quantity,
               double scale, const Output& out) {
    convertLines(FloatPairs{parts}, width, height, {0, quantity, scale, nullptr}, out);
}

} // namespace pixel_conversion
