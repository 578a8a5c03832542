// SPDX-License-Identifier: MIT
#include "pictures/tone.h"

#include "product/radiometry/power.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace {

constexpr float none = std::numeric_limits<float>::quiet_NaN();

/// Converts to the numbers in which the stretch is linear; NaN where nothing is shown.
std::vector<float> shown(const std::vector<float>& numbers, const Tone& tone) {
    std::vector<float> made(numbers.size(), none);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const float number = numbers[i];
        if (tone.quantity == Quantity::power && number > 0)
            made[i] = tone.decibels ? product::decibelsOf(number) : std::sqrt(number);
        else if (tone.quantity != Quantity::power)
            made[i] = number;
    }
    return made;
}

struct Limits {
    float low, high;
};

Limits limitsOf(const std::vector<float>& numbers, const Tone& tone) {
    if (tone.quantity == Quantity::phase)
        return {-std::numbers::pi_v<float>, std::numbers::pi_v<float>};
    std::vector<float> seen;
    std::copy_if(numbers.begin(), numbers.end(), std::back_inserter(seen),
                 [](float number) { return std::isfinite(number); });
    if (seen.empty())
        return {0, 1};
    const auto percentile = [&seen](std::size_t percent) {
        const auto at =
            seen.begin() + static_cast<std::ptrdiff_t>((seen.size() - 1) * percent / 100);
        std::nth_element(seen.begin(), at, seen.end());
        return *at;
    };
    const bool power = tone.quantity == Quantity::power;
    Limits limits{percentile(power ? 1 : 0), percentile(power ? 99 : 100)};
    if (tone.decibels && power)
        limits = {std::floor(limits.low), std::ceil(limits.high)};
    if (!(limits.high > limits.low))
        limits.high = limits.low + std::max(1.0F, std::fabs(limits.low)) * 1e-3F;
    return limits;
}

} // namespace

Grey greyOf(const std::vector<float>& numbers, const Tone& tone, const std::string& unit) {
    const std::vector<float> linear = shown(numbers, tone);
    const Limits limits = limitsOf(linear, tone);
    const bool root = tone.quantity == Quantity::power && !tone.decibels;
    Grey grey{std::vector<std::uint8_t>(linear.size()), std::nullopt};
    for (std::size_t i = 0; i < linear.size(); ++i) {
        if (std::isnan(linear[i]))
            continue;
        const float part =
            std::clamp((linear[i] - limits.low) / (limits.high - limits.low), 0.0F, 1.0F);
        grey.levels[i] =
            static_cast<std::uint8_t>(std::lround(1 + 254 * (root ? std::sqrt(part) : part)));
    }
    if (tone.quantity == Quantity::value || (tone.quantity == Quantity::power && tone.decibels))
        grey.scale = {limits.low, limits.high, tone.quantity == Quantity::value ? unit : "dB"};
    return grey;
}
