// SPDX-License-Identifier: MIT
#pragma once

#include "product/opened_product.h"

#include <optional>
#include <string>

namespace product {

/// How well a product's line times fit its tie points, as stated and as corrected
/// (docs/coordinates.md).
struct LineTimeResiduals {
    double statedRms = 0;    ///< lines, with the times as stated
    double correctedRms = 0; ///< lines, with the times a quarter of the pulse interval earlier
    bool corrected = false;  ///< the model uses the corrected times

    /// @return whether the times that the model does not use fit clearly better.
    bool othersFitBetter() const;
    std::string text() const;
};

/// @return nothing for products whose line times are not known to be late, and for products without
///         tie points or without a range-Doppler model.
/// @throws loader::Error when the plug-in has no record of the product.
std::optional<LineTimeResiduals> lineTimeResiduals(const OpenedProduct& opened);

} // namespace product
