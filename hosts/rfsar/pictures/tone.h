// SPDX-License-Identifier: MIT
#pragma once

#include "pictures/shrunk.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// How numbers become grey values.
struct Tone {
    Quantity quantity = Quantity::power;
    bool decibels = false; ///< power is shown as its logarithm
};

/// The values of black and white, for the legend.
struct GreyScale {
    double black = 0, white = 0;
    std::string unit; ///< "dB", "degree"
};

struct Grey {
    std::vector<std::uint8_t> levels; ///< 0 where there is no value
    std::optional<GreyScale> scale;   ///< for decibels and values
};

/// Stretches power between its percentiles 1 and 99: as the square root of the amplitude, or
/// linearly in decibels with limits rounded to whole decibels. Values are stretched between their
/// extremes. Phases are black at -pi and white at pi. Pixels with a value get 1 to 255.
Grey greyOf(const std::vector<float>& numbers, const Tone& tone, const std::string& unit);
