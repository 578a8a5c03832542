// SPDX-License-Identifier: MIT
#pragma once

#include "product/families/stated_product.h"

#include <string>
#include <vector>

namespace product {

/// @return sentences on what is wrong with a product's list of bursts: negative offsets, bursts
///         listed twice or missing, lines or columns that none covers, offsets that disagree with
///         the times or the tie points of the product. Empty when all is well, and for products
///         without bursts. Opens no image files.
/// @throws loader::Error when the list, or the tie points, cannot be read.
std::vector<std::string> burstFaults(const StatedProduct& stated);

/// "6 bursts of 2 beams"
std::string burstCount(const std::vector<StatedBurst>& bursts);

} // namespace product
