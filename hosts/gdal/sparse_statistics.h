// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/raster.h"

#include <optional>

namespace rf_sar_gdal {

/// Statistics of the middle 90 % of the samples. So a picture stretched between lowest and highest
/// shows the ground, and not one bright target on black.
struct SparseStatistics {
    double lowest, highest, mean, deviation;
};

/// Computes them from some blocks spread over the image: about two million samples, at least nine
/// blocks.
/// @return nothing for complex samples, if no block can be read or holds a number, or if blocks are
///         so large that reading nine would take long.
std::optional<SparseStatistics> sparseStatistics(const product::Raster& raster);

} // namespace rf_sar_gdal
