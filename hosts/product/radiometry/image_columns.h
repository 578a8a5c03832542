// SPDX-License-Identifier: MIT
#pragma once

#include "product/opened_product.h"

namespace product {

/// The columns of an image in the terms of the product's tables.
struct ImageColumns {
    std::uint32_t width = 0;  ///< of the image
    std::uint32_t stated = 0; ///< as the product states it, 0 where it is silent
    std::int64_t first = 0;   ///< the tables' column of its first sample: 0 but for bursts
};

ImageColumns columnsOf(const StatedProduct& stated);
ImageColumns columnsOf(const StatedBurst& burst);
/// @param image  whose file can be opened.
ImageColumns columnsOf(const StatedProduct& stated, const ProductImage& image);

/// @return the table's values by the columns of the image: those of the common grid where it covers
///         the image there, else the image's own where it covers these.
/// @param reach  as ColumnProfile::covers.
/// @param what  the table holds: "gains", "values".
/// @throws loader::Error naming the table's file when the image is not as wide as stated, or the
///         table covers it in neither way.
ColumnProfile inImage(ColumnProfile profile, const ImageColumns& columns, double reach,
                      const std::string& what, const std::string& tableFile);

} // namespace product
