#include "pixel_conversion.h"

#include <cmath>
#include <cstring>

namespace pixel_conversion {
namespace {

constexpr double phaseUnitsPerRadian = 10430.3783505;

std::uint16_t truncateToLow16(double value) {
    // Also false for NaN; both limits truncate to a value that fits 32 bits.
    const bool fits = value > -2147483649.0 && value < 2147483648.0;
    const std::int32_t whole = fits ? static_cast<std::int32_t>(value) : 0;
    return static_cast<std::uint16_t>(static_cast<std::uint32_t>(whole) & 0xFFFFU);
}

void store(const Output& out, std::size_t line, std::size_t column, std::uint16_t value) {
    auto* at = static_cast<unsigned char*>(out.first) +
               static_cast<std::ptrdiff_t>(line) * out.lineStride +
               static_cast<std::ptrdiff_t>(column) * out.pixelStride;
    std::memcpy(at, &value, sizeof value);
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
    for (std::size_t line = 0; line < height; ++line)
        for (std::size_t column = 0; column < width; ++column) {
            const std::uint32_t word = *words++;
            const auto real = static_cast<std::int16_t>(word & 0xFFFFU);
            const auto imaginary = static_cast<std::int16_t>(word >> 16);
            store(out, line, column, convert(real, imaginary, quantity, scale));
        }
}

void fromFloats(const FloatSamples& samples, std::size_t width, std::size_t height,
                Quantity quantity, double scale, const Output& out) {
    std::size_t at = 0;
    for (std::size_t line = 0; line < height; ++line)
        for (std::size_t column = 0; column < width; ++column, at += samples.step)
            store(out, line, column,
                  convert(samples.real[at], samples.imaginary[at], quantity, scale));
}

} // namespace pixel_conversion
