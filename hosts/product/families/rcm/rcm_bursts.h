// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/product_tree.h"
#include "product/families/statements.h"

#include <functional>

namespace product {

/// Lists the images of an element.
using ImagesOf = std::function<std::vector<StatedImage>(const kfio::ProductTree& parent)>;

/// @param root  the element `product`.
/// @param file  for errors to name.
/// @return the bursts of a ScanSAR complex product, ordered by beam and number; empty for products
///         with a single image and no burst number.
/// @throws loader::Error naming the burst and the text that is no number.
std::vector<StatedBurst> rcmBursts(const kfio::ProductTree& root, const std::string& file,
                                   const ImagesOf& imagesOf);

} // namespace product
