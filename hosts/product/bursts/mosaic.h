// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/raster.h"

namespace product {

/// @param entry  of the kind mosaic.
/// @return the linear power of all bursts in their common grid, where each pixel comes from one
///         burst (BurstGrid) and nothing is blended; 0 where no burst covers the grid. Opens image
///         files as it reads their bursts.
/// @throws loader::Error when offsets are negative or a burst is listed twice.
std::unique_ptr<Raster> makeMosaic(const std::shared_ptr<const OpenedProduct>& opened,
                                   const Entry& entry);

} // namespace product
