// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/product_tree.h"
#include "product/families/statements.h"

#include <functional>

namespace product {

/// How the images of an element are listed.
using ImagesOf = std::function<std::vector<StatedImage>(const kfio::ProductTree& parent)>;

/// @param root  the element `product`.
/// @param file  for errors to name.
/// @return the bursts of a ScanSAR complex product, ordered by beam and number; empty for products
///         that state one image alone, without the number of a burst.
/// @throws loader::Error naming the burst and the text that is no number.
std::vector<StatedBurst> rcmBursts(const kfio::ProductTree& root, const std::string& file,
                                   const ImagesOf& imagesOf);

} // namespace product
