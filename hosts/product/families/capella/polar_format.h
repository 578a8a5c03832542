// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/product_tree.h"
#include "kxfr/kxfr.h"

#include <string>

namespace product {

/// The sensor model of an image on a polar-format grid, which spotlight images in single-look
/// complex form have. The plug-in's record has no place for it. The scene's height is that of the
/// scene reference point.
/// @param document  the extended document.
/// @param file  of the document.
/// @throws loader::Error naming the file and what is missing, damaged, or in contradiction to the
///         place that the product states for its middle pixel.
KxfrXFormPtr polarFormatTransform(const kfio::ProductTree& document, const std::string& file);

} // namespace product
