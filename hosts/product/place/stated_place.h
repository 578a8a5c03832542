// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/georeferencing.h"
#include "product/opened_product.h"
#include "product/place/rpc_items.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace product {

/// Tie points and rational functions as stated, nothing computed.
struct StatedPlace {
    std::vector<TiePoint> ties;
    RpcItems rpc;
};

/// @return what the product's metadata state; empty where they state nothing.
/// @throws loader::Error naming the file when a statement is damaged or is for another image size.
StatedPlace statedByProduct(const StatedProduct& product, std::uint32_t width,
                            std::uint32_t height);

/// @return what the first image file that can be opened states; empty where it states nothing. Tie
///         points in a map projection are converted to longitude and latitude.
/// @throws loader::Error naming the file when it cannot be read.
StatedPlace statedByImage(const OpenedProduct& opened);

/// As above for one image file.
StatedPlace statedBy(const kimg::Georeferencing& file, const std::string& name);

/// Rational functions with coefficients in the right order, and how well they fit.
struct StatedFunctions {
    sarm::Rpc rpc;
    double worstPixels = 0; ///< at the tie points; 0 when there are none
};
/// Functions with a larger error are not used, pixels.
constexpr double functionsServePixels = 0.1;

/// @return nothing when none are stated, or an item is no number.
std::optional<StatedFunctions> functionsOf(const StatedPlace& stated);

} // namespace product
