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
/// @return linear power by the product's tables; of kinds that it has no table for, by the
///         incidence angle on the ellipsoid; less the noise level, where the entry says so.
/// @throws loader::Error naming the file of what is missing or damaged.
std::unique_ptr<Raster> makeCalibrated(const std::shared_ptr<const OpenedProduct>& opened,
                                       const Entry& entry);

/// @param entry  that has power; whether in decibels does not matter.
/// @return its linear power: squares of magnitudes and of complex samples. Means of decibels are
///         those of this power.
/// @throws loader::Error as openRaster.
std::unique_ptr<Raster> openPower(const std::shared_ptr<const OpenedProduct>& opened,
                                  const Entry& entry);

/// @return the same in decibels, decibelsOf(), under a name of its own.
std::unique_ptr<Raster> inDecibels(std::unique_ptr<Raster> power, const std::string& name);

} // namespace product
