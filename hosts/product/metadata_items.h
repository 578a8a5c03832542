#pragma once

#include "product/families/product_document.h"

#include <string>
#include <utility>
#include <vector>

namespace product {

/// @return the product's facts under the keys that users of GDAL know, as the product writes them;
///         those that it does not state are left out.
std::vector<std::pair<std::string, std::string>> metadataItems(const ProductDocument& document);

} // namespace product
