// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/raster.h"

#include <vector>

/// The quantity of a shrunk image.
enum class Quantity {
    power, ///< of magnitudes and complex samples, or calibrated; averaged directly
    phase, ///< radians, averaged as directions
    value, ///< in the image's own unit
};

Quantity quantityOf(const product::Raster& raster);

/// Reads a whole image on all cores and averages it in cells, with progress. It needs memory for
/// the cells and for one row of blocks per core.
/// @param columns, rows  no more than the image has.
/// @return the cells row by row; NaN where no sample has a value.
/// @throws loader::Error naming the file or layer and the reason.
std::vector<float> shrink(const product::Raster& raster, std::uint32_t columns, std::uint32_t rows);
