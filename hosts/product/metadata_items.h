// SPDX-License-Identifier: MIT
#pragma once

#include "product/families/stated_product.h"

namespace product {

/// @return the product's metadata and the names of its calibration tables under GDAL's usual keys,
///         with the product's own texts; items that the product does not state are left out.
TextItems metadataItems(const StatedProduct& product);

} // namespace product
