// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/raster.h"

#include <vector>

/// What the numbers of a shrunk image are.
enum class Quantity {
    power, ///< of magnitudes and complex samples, or calibrated: averaged as such
    phase, ///< radians, averaged as directions
    value, ///< in the image's own unit
};

Quantity quantityOf(const product::Raster& raster);

/// Reads a whole image on all cores and averages it in cells, with progress. Memory holds the cells
/// and a row of blocks a core.
/// @param columns, rows  no more than the image has.
/// @return row by row; not-a-number where nothing is known.
/// @throws loader::Error naming the file or layer and the reason.
std::vector<float> shrink(const product::Raster& raster, std::uint32_t columns, std::uint32_t rows);
