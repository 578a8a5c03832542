// SPDX-License-Identifier: MIT
#pragma once

#include "product/radiometry/image_columns.h"

namespace product {

/// @param table  one of the product's.
/// @return the noise-equivalent level of that kind in dB, for every column; without values if the
///         product does not state that kind. Sigma nought is always there.
/// @throws loader::Error naming the file when it is missing or damaged, or does not cover all
///         columns of the image; a list may end less than one step before the image.
ColumnProfile readNoise(const StatedProduct& product, const NoiseTable& table,
                        const ImageColumns& columns, Radiometry kind = Radiometry::sigmaNought);

/// @return incidence angles in degrees, for products with a file of them.
/// @throws loader::Error as readNoise.
ColumnProfile readIncidence(const StatedProduct& product, const ImageColumns& columns);

} // namespace product
