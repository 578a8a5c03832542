// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/product_tree.h"
#include "kxfr/kxfr.h"

#include <string>

namespace product {

/// Makes the sensor model of an image on a polar-format grid, as spotlight single-look complex
/// images have. The plug-in's record cannot hold this grid. The scene height is that of the scene
/// reference point.
/// @param document  the extended document.
/// @param file  of the document.
/// @throws loader::Error naming the file and what is missing or damaged, or when the grid
///         contradicts the position that the product states for its middle pixel.
KxfrXFormPtr polarFormatTransform(const kfio::ProductTree& document, const std::string& file);

} // namespace product
