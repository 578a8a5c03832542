#include "product/radiometry/noise_tables.h"

#include <cmath>

namespace product {
namespace {

/// Lists may end less than a step before the image does.
ColumnProfile reaching(const ColumnProfile& profile, const ImageColumns& columns,
                       const std::string& file) {
    return inImage(profile, columns, std::abs(static_cast<double>(profile.step)) - 1, file);
}

} // namespace

ColumnProfile readNoise(const StatedProduct& product, const NoiseTable& table,
                        const ImageColumns& columns) {
    return reaching(product.noise(table, columns.width), columns, table.source);
}

ColumnProfile readIncidence(const StatedProduct& product, const ImageColumns& columns) {
    return reaching(product.incidence(), columns, product.incidenceFile());
}

} // namespace product
