#pragma once

#include "product/families/product_document.h"

#include <string>
#include <utility>
#include <vector>

namespace product {

/// A point of the product's geolocation grid: (0, 0) is the centre of the first pixel.
struct TiePoint {
    double line = 0, sample = 0;
    double latDeg = 0, lonDeg = 0, heightM = 0;
};

/// @return the grid as the product states it; empty when it has none.
/// @throws loader::Error naming the file and the text that is no number.
std::vector<TiePoint> tiePoints(const ProductDocument& document);

/// @return the product's own rational functions under the names of RPC00B ("LINE_OFF", ...); empty
///         when it has none, or not all of them.
std::vector<std::pair<std::string, std::string>> ownRpc(const ProductDocument& document);

} // namespace product
