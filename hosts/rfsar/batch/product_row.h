// SPDX-License-Identifier: MIT
#pragma once

#include "batch/children.h"
#include "product/find_products.h"

#include <nlohmann/json_fwd.hpp>

#include <functional>
#include <vector>

namespace batch {

/// Opens a product and says what catalogues tell of it: file, format, satellite, productType,
/// productId, start, stop, beamMode, polarizations, orbitDirection, lookSide, incidenceDeg,
/// footprint; null where the product is silent.
/// @throws loader::Error when it cannot be opened.
nlohmann::ordered_json productRow(const std::string& entry);

struct RowsWork {
    std::vector<product::FoundProduct> products;
    std::size_t atOnce = 1;
    ChildLimits limits;
    /// Takes a product's row, in the order of the products: file and error where it could not be
    /// opened. Files that turn out to be no products have none.
    std::function<void(std::size_t product, nlohmann::ordered_json&& row)> take;
};

/// Opens each product in a child process.
void readRows(const RowsWork& work);

} // namespace batch
