// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/raster.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace product {

/// Beta nought of one polarization's image, linear power: of the product's own table, else sigma
/// nought divided by the sine of the incidence angle on the ellipsoid.
struct BetaNought {
    std::string pole; ///< "" where the product names none
    std::unique_ptr<Raster> power;
    bool fromSigma = false;
    /// Lowest and highest noise-equivalent sigma nought that the product states, dB.
    std::optional<std::pair<double, double>> noiseDb;
};

/// @param noiseRemoved  beta nought less the noise level that the product states; what falls below
///        0 stays negative, so that means are right.
/// @return one for each image, in the product's order.
/// @throws loader::Error naming the product when it cannot be calibrated, or its noise is not
///         known and is to be removed.
std::vector<BetaNought> openBetaNought(const std::shared_ptr<const OpenedProduct>& opened,
                                       bool noiseRemoved);

} // namespace product
