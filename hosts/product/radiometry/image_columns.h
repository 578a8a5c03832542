// SPDX-License-Identifier: MIT
#pragma once

#include "product/opened_product.h"

namespace product {

/// How an image's columns relate to those of the product's tables.
struct ImageColumns {
    std::uint32_t width = 0;  ///< of the image
    std::uint32_t stated = 0; ///< as the product states it; 0 if it does not
    std::int64_t first = 0;   ///< table column of its first sample; 0 except for bursts
};

ImageColumns columnsOf(const StatedProduct& stated);
ImageColumns columnsOf(const StatedBurst& burst);
/// @param image  whose file can be opened.
ImageColumns columnsOf(const StatedProduct& stated, const ProductImage& image);

/// @return the table's values by the columns of the image. If the table covers the image in the
///         columns of the common grid, these are used; else the image's own columns if it covers
///         them.
/// @param reach  as ColumnProfile::covers.
/// @param what  the table holds: "gains", "values".
/// @throws loader::Error naming the table's file when the image is not as wide as stated, or the
///         table covers the image in neither way.
ColumnProfile inImage(ColumnProfile profile, const ImageColumns& columns, double reach,
                      const std::string& what, const std::string& tableFile);

} // namespace product
