// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/raster.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace product {

/// Beta nought of one polarization's image, linear power: from the product's own table, else sigma
/// nought divided by the sine of the incidence angle on the ellipsoid.
struct BetaNought {
    std::string pole; ///< "" where the product names none
    std::unique_ptr<Raster> power;
    bool fromSigma = false;
    /// Lowest and highest noise-equivalent sigma nought that the product states, dB.
    std::optional<std::pair<double, double>> noiseDb;
};

/// @param noiseRemoved  subtracts the noise level that the product states; power below it stays
///        negative, which keeps averages unbiased.
/// @return one for each image, in the product's order.
/// @throws loader::Error naming the product when it cannot be calibrated, or when its noise is to
///         be removed but not known.
std::vector<BetaNought> openBetaNought(const std::shared_ptr<const OpenedProduct>& opened,
                                       bool noiseRemoved);

} // namespace product
