#pragma once

#include "product/families/product_document.h"
#include "product/radiometry/column_profile.h"

#include <string>
#include <vector>

namespace product {

/// Where the noise levels of a polarization's image stand.
struct NoiseTable {
    std::string pole; ///< "" where one serves all polarizations
    std::string file; ///< "" where the document itself holds the levels
};
std::vector<NoiseTable> noiseTables(const ProductDocument& document);

/// @param width  of the image.
/// @return noise-equivalent sigma nought in dB, for every column.
/// @throws loader::Error naming the file when it is missing or damaged, or leaves columns of the
///         image out; lists may end less than a step before the image does.
ColumnProfile readNoise(const ProductDocument& document, const NoiseTable& table,
                        std::uint32_t width);

/// @return the file of incidence angles; "" when the product has none.
std::string incidenceFile(const ProductDocument& document);

/// @return incidence angles in degrees.
/// @throws loader::Error as readNoise.
ColumnProfile readIncidence(const ProductDocument& document, std::uint32_t width);

} // namespace product
