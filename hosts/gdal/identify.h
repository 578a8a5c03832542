// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

class GDALOpenInfo;

namespace rf_sar_gdal {

/// How names of datasets begin that this driver makes (dataset_name.h).
constexpr std::string_view connectionPrefix = "RF_SAR:";

/// Decides from the name and the first bytes, which GDAL has read already, whether a file is a
/// product; nothing is parsed, and further bytes are read of likely files only. A folder is a
/// product where the file at the place of a family's product files is one; a `.zip` and a `manifest.safe` where they lead to exactly
/// one product.
bool identify(GDALOpenInfo& info);

} // namespace rf_sar_gdal
