// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/catalogue.h"

#include <functional>
#include <memory>

class GDALRasterBand;

namespace rf_sar_gdal {

using product::Entry;
using product::OpenedProduct;

/// @param opened  the product that the entry is of; the band keeps it open.
/// @param beforeRead  called whenever pixels are about to be read.
/// @return a band that knows its size, type and blocks, to be handed to a dataset.
/// @throws loader::Error naming the file when what the entry stands for cannot be opened.
std::unique_ptr<GDALRasterBand> makeBand(const std::shared_ptr<const OpenedProduct>& opened,
                                         const Entry& entry,
                                         std::function<void()> beforeRead);

} // namespace rf_sar_gdal
