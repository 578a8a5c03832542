#pragma once

#include "product/families/product_facts.h"

#include <string>
#include <vector>

namespace product {

/// @return where the image files are that the product names, one for each of `facts.images`: the
///         files that the plug-in's layers read. Nothing tells whether they exist.
std::vector<std::string> imageFiles(const ProductDocument& document, const ProductFacts& facts);

} // namespace product
