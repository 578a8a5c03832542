// SPDX-License-Identifier: MIT
#pragma once

#include "product/families/stated_product.h"

namespace product {

/// A part of the common grid of a product's bursts: one burst, or the whole.
struct GridPart {
    std::int64_t line = 0, sample = 0; ///< of its first pixel in the grid
    std::uint32_t lines = 0, samples = 0;
    double pulseRateHz = 0; ///< decides how late its line times are; 0 leaves the record's
    const StatedBurst* burst = nullptr;
};

GridPart partOf(const StatedBurst& burst);
/// The whole grid. Its pulse interval is midway between those of the beams, so that no line is
/// farther off than half of what a quarter of their intervals differs by.
GridPart wholeGrid(const StatedProduct& stated);

} // namespace product
