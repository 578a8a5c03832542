// SPDX-License-Identifier: MIT
#pragma once

#include "rf_sar_layer_cache.h"

#include <cstdint>

/// Helpers for opening and reading a layer.
namespace sarLayer {

/// Odd numbers are magnitudes, even ones phases.
bool isMagnitude(const RF_SARLayer& layer);

struct BlockShape {
    std::uint32_t width;
    std::uint32_t height;
};
BlockShape blockShape(const RF_SARLayer& layer);

} // namespace sarLayer
