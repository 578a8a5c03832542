// SPDX-License-Identifier: MIT
#include "product/radiometry/noise_tables.h"

#include <cmath>

namespace product {
namespace {

/// Lists may end less than a step before the image's end.
ColumnProfile reaching(const ColumnProfile& profile, const ImageColumns& columns,
                       const std::string& file) {
    return inImage(profile, columns, std::abs(static_cast<double>(profile.step)) - 1, "values",
                   file);
}

} // namespace

ColumnProfile readNoise(const StatedProduct& product, const NoiseTable& table,
                        const ImageColumns& columns, Radiometry kind) {
    const ColumnProfile& levels = product.noise(table, kind, columns.width);
    if (levels.values.empty() && kind != Radiometry::sigmaNought)
        return {};
    return reaching(levels, columns, table.source);
}

ColumnProfile readIncidence(const StatedProduct& product, const ImageColumns& columns) {
    return reaching(product.incidence(), columns, product.incidenceFile());
}

} // namespace product
