// SPDX-License-Identifier: MIT
#pragma once

#include "product/families/stated_product.h"

namespace product {

/// @return the product's facts and the names of its calibration tables under the keys that users
///         of GDAL know, as the product writes them; what it does not state is left out.
TextItems metadataItems(const StatedProduct& product);

} // namespace product
