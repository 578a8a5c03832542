// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/catalogue.h"

#include <functional>
#include <memory>

class GDALRasterBand;

namespace rf_sar_gdal {

using product::Entry;
using product::OpenedProduct;

/// @param opened  the entry's product; the band keeps it open.
/// @param beforeRead  called before each read of pixels.
/// @return a band with size, type and blocks set, for a dataset to take over.
/// @throws loader::Error naming the file when the entry cannot be opened.
std::unique_ptr<GDALRasterBand> makeBand(const std::shared_ptr<const OpenedProduct>& opened,
                                         const Entry& entry,
                                         std::function<void()> beforeRead);

} // namespace rf_sar_gdal
