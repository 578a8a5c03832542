#pragma once

#include "pixel_conversion.h"

#include <cstddef>
#include <cstdint>

/// The rule of pixel_conversion on runs of samples, with the widest registers of the machine.
/// Results are those of `convert`, sample by sample, whatever the input. Any thread.
namespace pixel_conversion {

struct PackedWords {
    const std::uint32_t* words;
};
struct FloatBands {
    const float* real;
    const float* imaginary;
};
struct FloatPairs {
    const float* parts;
};

/// @param out  `count` results; must not overlap the samples.
void convertRun(const PackedWords& samples, std::size_t count, Quantity quantity, double scale,
                std::uint16_t* out);
void convertRun(const FloatBands& samples, std::size_t count, Quantity quantity, double scale,
                std::uint16_t* out);
void convertRun(const FloatPairs& samples, std::size_t count, Quantity quantity, double scale,
                std::uint16_t* out);

} // namespace pixel_conversion
