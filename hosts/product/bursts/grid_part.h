// SPDX-License-Identifier: MIT
#pragma once

#include "product/families/stated_product.h"

namespace product {

/// A part of the common grid of a product's bursts: one burst, or the whole grid.
struct GridPart {
    std::int64_t line = 0, sample = 0; ///< of its first pixel in the grid
    std::uint32_t lines = 0, samples = 0;
    double pulseRateHz = 0; ///< for the delay of its line times; 0: the record's rate
    const StatedBurst* burst = nullptr;
};

GridPart partOf(const StatedBurst& burst);
/// The whole grid. Its pulse interval is midway between those of the beams. So the delay of each
/// line is off by at most half the difference between the beams' delays.
GridPart wholeGrid(const StatedProduct& stated);

} // namespace product
