// SPDX-License-Identifier: MIT
#pragma once

#include "product/opened_product.h"

#include <vector>

namespace product {

/// The noise level of an image in linear power. Between the table's columns it is linear in dB.
struct NoisePower {
    std::vector<double> levels;                ///< one a column
    Radiometry kind = Radiometry::sigmaNought; ///< of the levels
};

/// @param image  whose file can be opened.
/// @param wanted  the kind whose levels are read where the product states them; else those of sigma
///        nought are.
/// @throws loader::Error naming the product when it states no noise level for the image, or the
///         file that is damaged.
NoisePower readNoisePower(const OpenedProduct& opened, const ProductImage& image,
                          Radiometry wanted);

/// @return what metadata say of images without their noise.
TextItems noiseRemovedItems();

} // namespace product
