// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

class GDALOpenInfo;

namespace rf_sar_gdal {

/// Beginning of this driver's dataset names (dataset_name.h).
constexpr std::string_view connectionPrefix = "RF_SAR:";

/// Decides whether a file is a product, by its name and the first bytes, which GDAL has read
/// already. Parses nothing, and reads further bytes of likely files only. A folder is a product if
/// a family's product file is at its usual place in it; a `.zip` or a `manifest.safe` is one if it
/// leads to exactly one product.
bool identify(GDALOpenInfo& info);

} // namespace rf_sar_gdal
