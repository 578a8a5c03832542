// SPDX-License-Identifier: MIT
#pragma once

#include "product/opened_product.h"

#include <vector>

namespace product {

/// The noise level of an image in linear power, interpolated between the table's columns linearly
/// in dB.
struct NoisePower {
    std::vector<double> levels;                ///< one a column
    Radiometry kind = Radiometry::sigmaNought; ///< of the levels
};

/// @param image  whose file can be opened.
/// @param wanted  the kind of levels to read; where the product does not state it, sigma nought.
/// @throws loader::Error naming the product when it states no noise level for the image, or the
///         damaged file.
NoisePower readNoisePower(const OpenedProduct& opened, const ProductImage& image,
                          Radiometry wanted);

/// @return the metadata items of images whose noise was subtracted.
TextItems noiseRemovedItems();

} // namespace product
