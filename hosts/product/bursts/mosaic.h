// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/raster.h"

namespace product {

/// @param entry  of the kind mosaic.
/// @return the power of all bursts in their common grid, detected: each pixel is that of one burst
///         (BurstGrid), nothing is blended; 0 where none covers the grid. Files are opened as their
///         bursts are read.
/// @throws loader::Error when offsets are negative or a burst is listed twice.
std::unique_ptr<Raster> makeMosaic(const std::shared_ptr<const OpenedProduct>& opened,
                                   const Entry& entry);

} // namespace product
