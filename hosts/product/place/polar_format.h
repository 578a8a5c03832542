#pragma once

#include "kxfr/kxfr.h"
#include "product/families/product_document.h"

namespace product {

/// @return whether the product states that its image is on a polar-format grid (Capella's spotlight
///         images in single-look complex form).
bool statesPolarFormat(const ProductDocument& document);

/// The sensor model that such a product states by itself; the plug-in's record has no place for it.
/// The scene's height is that of the scene reference point.
/// @throws loader::Error naming the file and what is missing, damaged, or in contradiction to the
///         place that the product states for its middle pixel.
KxfrXFormPtr polarFormatTransform(const ProductDocument& document);

} // namespace product
