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

/// Reads some blocks all over the image, a few million samples at most.
/// @return nothing for complex samples, and where no block can be read or holds a number.
std::optional<SparseStatistics> sparseStatistics(const product::Raster& raster);

} // namespace rf_sar_gdal
