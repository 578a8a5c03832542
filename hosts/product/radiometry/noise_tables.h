#pragma once

#include "product/families/stated_product.h"

namespace product {

/// @param table  one of the product's.
/// @param width  of the image.
/// @return noise-equivalent sigma nought in dB, for every column.
/// @throws loader::Error naming the file when it is missing or damaged, or leaves columns of the
///         image out; lists may end less than a step before the image does.
const ColumnProfile& readNoise(const StatedProduct& product, const NoiseTable& table,
                               std::uint32_t width);

/// @return incidence angles in degrees, for products with a file of them.
/// @throws loader::Error as readNoise.
const ColumnProfile& readIncidence(const StatedProduct& product, std::uint32_t width);

} // namespace product
