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

/// What black and white stand for, to be written beside the picture.
struct GreyScale {
    double black = 0, white = 0;
    std::string unit; ///< "dB", "degree"
};

struct Grey {
    std::vector<std::uint8_t> levels; ///< 0 where nothing is known
    std::optional<GreyScale> scale;   ///< of decibels and values
};

/// Power is stretched between its percentiles 1 and 99: as a square root of the amplitude, or
/// linearly in decibels, then between whole ones. Values are stretched between their extremes.
/// Phases are black at -pi and white at pi. What is known is 1 to 255.
Grey greyOf(const std::vector<float>& numbers, const Tone& tone, const std::string& unit);
