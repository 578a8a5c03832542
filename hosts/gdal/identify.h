#pragma once

#include <string_view>

class GDALOpenInfo;

namespace rf_sar_gdal {

/// How names of datasets begin that this driver makes (dataset_name.h).
constexpr std::string_view connectionPrefix = "RF_SAR:";

/// Decides from the name and the first bytes, which GDAL has read already, whether a file is a
/// product; nothing is parsed, and further bytes are read of likely files only. A folder is a
/// product where its product.xml is one; a `.zip` and a `manifest.safe` where they lead to exactly
/// one product.
bool identify(GDALOpenInfo& info);

/// @return whether the first bytes of an XML document are those of a RADARSAT-2 or RCM product: the
///         root element is `product` of one of the two namespaces.
/// @param complete  receives false when more bytes are needed to tell.
bool looksLikeProductXml(std::string_view head, bool& complete);

/// @return whether the first bytes of a JSON document are those of a Capella item or of its
///         extended document.
bool looksLikeCapellaJson(std::string_view head);

} // namespace rf_sar_gdal
