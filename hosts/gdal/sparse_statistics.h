// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/raster.h"

#include <optional>

namespace rf_sar_gdal {

/// Of the middle 90 of 100 samples, so that a picture stretched between lowest and highest shows
/// the ground, not one bright target and black around it.
struct SparseStatistics {
    double lowest, highest, mean, deviation;
};

/// Reads some blocks all over the image: about two million samples, at least nine blocks.
/// @return nothing for complex samples, where no block can be read or holds a number, and where
///         blocks are so large that reading nine would take long.
std::optional<SparseStatistics> sparseStatistics(const product::Raster& raster);

} // namespace rf_sar_gdal
