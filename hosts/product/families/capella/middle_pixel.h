// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/product_tree.h"
#include "product/families/statements.h"

#include <optional>
#include <string>

namespace product {

/// @param document  the extended document.
/// @param file  of the document.
/// @return the stated position of the image's middle pixel; for even sizes the pixel after the
///         middle. Nothing where the product states none.
/// @throws loader::Error naming the file and the text that is no number.
std::optional<TiePoint> middlePixel(const kfio::ProductTree& document, const std::string& file);

} // namespace product
