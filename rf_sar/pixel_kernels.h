// SPDX-License-Identifier: MIT
#pragma once

#include "pixel_conversion.h"

#include <cstddef>
#include <cstdint>

/// Applies the rule of pixel_conversion to rows of samples, in the widest vector registers of the
/// machine. Results are bit-identical to those of `convert` for all samples. Any thread.
namespace pixel_conversion {

struct Sample {
    double real;
    double imaginary;
};

/// Sources of samples: `at` returns one sample, `after` skips some.
struct PackedWords {
    const std::uint32_t* words;

    PackedWords after(std::size_t count) const { return {words + count}; }
    Sample at(std::size_t n) const {
        return {static_cast<double>(static_cast<std::int16_t>(words[n] & 0xFFFFU)),
                static_cast<double>(static_cast<std::int16_t>(words[n] >> 16))};
    }
};

struct FloatBands {
    const float* real;
    const float* imaginary;

    FloatBands after(std::size_t count) const { return {real + count, imaginary + count}; }
    Sample at(std::size_t n) const { return {real[n], imaginary[n]}; }
};

struct FloatPairs {
    const float* parts;

    FloatPairs after(std::size_t count) const { return {parts + 2 * count}; }
    Sample at(std::size_t n) const { return {parts[2 * n], parts[2 * n + 1]}; }
};

/// The result wanted for a row of samples.
struct Row {
    std::size_t count;
    Quantity quantity;
    double scale;
    std::uint16_t* out; ///< `count` results; must not overlap the samples
};

void convertRow(const PackedWords& samples, const Row& row);
void convertRow(const FloatBands& samples, const Row& row);
void convertRow(const FloatPairs& samples, const Row& row);

} // namespace pixel_conversion
