// SPDX-License-Identifier: MIT
#pragma once

#include "product/opened_product.h"

#include <algorithm>

namespace product {

/// @return the first table for the image's polarization and beam; null when there is none.
template <class Table>
const Table* tableFor(const std::vector<Table>& tables, const ProductImage& image) {
    const auto found = std::find_if(tables.begin(), tables.end(), [&](const Table& table) {
        return (table.pole.empty() || table.pole == image.pole) &&
               (table.beam.empty() || (image.burst && table.beam == image.burst->beam));
    });
    return found == tables.end() ? nullptr : &*found;
}

} // namespace product
