// SPDX-License-Identifier: MIT
#pragma once

#include "batch/children.h"
#include "product/find_products.h"

#include <nlohmann/json_fwd.hpp>

#include <functional>
#include <vector>

namespace batch {

/// Opens a product and makes its catalogue row: file, format, satellite, productType, productId,
/// start, stop, beamMode, polarizations, orbitDirection, lookSide, incidenceDeg, footprint; null
/// for what the product does not state.
/// @throws loader::Error when it cannot be opened.
nlohmann::ordered_json productRow(const std::string& entry);

struct RowsWork {
    std::vector<product::FoundProduct> products;
    std::size_t atOnce = 1;
    ChildLimits limits;
    /// Receives each product's row, in the order of the products; only file and error if it could
    /// not be opened. A file that turns out to be no product has no row.
    std::function<void(std::size_t product, nlohmann::ordered_json&& row)> take;
};

/// Opens each product in a child process.
void readRows(const RowsWork& work);

} // namespace batch
