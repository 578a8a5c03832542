// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/product_tree.h"
#include "product/families/statements.h"

#include <optional>
#include <string>

namespace product {

/// @param document  the extended document.
/// @param file  of the document.
/// @return where the product says that its middle pixel lies, of even sizes the one behind the
///         middle; nothing where it is silent.
/// @throws loader::Error naming the file and what is no number.
std::optional<TiePoint> middlePixel(const kfio::ProductTree& document, const std::string& file);

} // namespace product
