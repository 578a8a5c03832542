// SPDX-License-Identifier: MIT
#pragma once

#include "product/opened_product.h"

#include <optional>
#include <string>

namespace product {

/// The line times of a product against its tie points, taken both ways (docs/coordinates.md).
struct LineTimeResiduals {
    double statedRms = 0;    ///< lines, with the times as stated
    double correctedRms = 0; ///< lines, with the times a quarter of the pulse interval earlier
    bool corrected = false;  ///< the second is what places the image

    /// @return whether the times that are not in use fit clearly better.
    bool othersFitBetter() const;
    std::string text() const;
};

/// @return nothing for products whose line times are not known to be late, that have no tie points
///         or no range-Doppler model.
/// @throws loader::Error when the plug-in has no record of the product.
std::optional<LineTimeResiduals> lineTimeResiduals(const OpenedProduct& opened);

} // namespace product
