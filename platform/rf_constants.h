// SPDX-License-Identifier: MIT
#pragma once

#include <numbers>

/// Physical and agreed constants, each defined once.
namespace constants {

inline constexpr double speedOfLightMPerS = 299792458; ///< in vacuum, exact (SI)
inline constexpr double secondsPerDay = 86400;         ///< of a day without a leap second
inline constexpr double radiansPerDegree = std::numbers::pi / 180;

/// WGS 84 (NGA.STND.0036).
inline constexpr double wgs84SemiMajorAxisM = 6378137;
inline constexpr double wgs84InverseFlattening = 298.257223563;
inline constexpr double wgs84SemiMinorAxisM =
    wgs84SemiMajorAxisM * (1 - 1 / wgs84InverseFlattening);

} // namespace constants
