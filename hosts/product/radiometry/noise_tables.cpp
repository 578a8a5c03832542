#include "product/radiometry/noise_tables.h"

#include "product/images/image_claims.h"

#include <cmath>

namespace product {
namespace {

const ColumnProfile& checked(const ColumnProfile& profile, const StatedProduct& product,
                             std::uint32_t width, const std::string& file) {
    if (profile.values.empty() || profile.step == 0)
        throw loader::Error(file + ": holds no values, or none a column");
    requireStatedWidth(product, width, file);
    if (!profile.covers(width, std::abs(static_cast<double>(profile.step)) - 1))
        throw loader::Error(file + ": its values do not cover the " + std::to_string(width) +
                            " columns of the image");
    return profile;
}

} // namespace

const ColumnProfile& readNoise(const StatedProduct& product, const NoiseTable& table,
                               std::uint32_t width) {
    return checked(product.noise(table, width), product, width, table.source);
}

const ColumnProfile& readIncidence(const StatedProduct& product, std::uint32_t width) {
    return checked(product.incidence(), product, width, product.incidenceFile());
}

} // namespace product
