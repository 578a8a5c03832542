// SPDX-License-Identifier: MIT
#pragma once

#include "product/opened_product.h"
#include "product/place/footprint.h"

#include <array>
#include <optional>

/// A product's location, as a STAC item describes it.
struct StacPlace {
    product::Footprint footprint;
    std::optional<std::array<std::uint32_t, 2>> shape; ///< lines, samples
    std::optional<int> epsg;                           ///< of a map; none for radar geometry
    std::optional<std::array<double, 6>> transform;    ///< a, b, c, d, e, f of a map
};

/// Takes it from the first layer that can be opened; without one, from what the product states.
/// @param opened  null when the plug-in cannot open the product.
/// @param warnings  receives why something is missing.
StacPlace stacPlace(const product::OpenedProduct* opened, const product::StatedProduct& stated,
                    std::vector<std::string>& warnings);
