// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/raster.h"

#include <cmath>
#include <limits>
#include <memory>

namespace product {

/// @return 10 log10; not-a-number where there is no power.
inline float decibelsOf(float power) {
    return power > 0 ? 10 * std::log10(power) : std::numeric_limits<float>::quiet_NaN();
}

/// @param entry  of the kind calibrated, whose image can be opened.
/// @return linear power by the product's tables. A kind without a table is converted by the
///         incidence angle on the ellipsoid. The noise level is subtracted if the entry says so.
/// @throws loader::Error naming the file that is missing or damaged.
std::unique_ptr<Raster> makeCalibrated(const std::shared_ptr<const OpenedProduct>& opened,
                                       const Entry& entry);

/// @param entry  one that has power, in decibels or not.
/// @return its linear power, which is what averages are made of: calibrated power, or the squared
///         magnitude of samples.
/// @throws loader::Error as openRaster.
std::unique_ptr<Raster> openPower(const std::shared_ptr<const OpenedProduct>& opened,
                                  const Entry& entry);

/// @return the same raster in decibels (decibelsOf()), under another name.
std::unique_ptr<Raster> inDecibels(std::unique_ptr<Raster> power, const std::string& name);

} // namespace product
