#pragma once

#include "product/column_profile.h"
#include "product/product_document.h"

#include <string>
#include <vector>

namespace product {

/// Where the noise levels of a polarization's image stand.
struct NoiseTable {
    std::string pole; ///< "" where one serves all polarizations
    std::string file; ///< "" where the document itself holds the levels
};
std::vector<NoiseTable> noiseTables(const ProductDocument& document);

/// @return noise-equivalent sigma nought in dB.
/// @throws loader::Error naming the file.
ColumnProfile readNoise(const ProductDocument& document, const NoiseTable& table);

/// @return the file of incidence angles; "" when the product has none.
std::string incidenceFile(const ProductDocument& document);

/// @return incidence angles in degrees.
/// @throws loader::Error naming the file.
ColumnProfile readIncidence(const std::string& file);

} // namespace product
