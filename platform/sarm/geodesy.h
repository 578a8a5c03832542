// SPDX-License-Identifier: MIT
#pragma once

#include "rf_constants.h"
#include "rf_platform_api.h"
#include "sarm/vec3.h"

/// Geodetic and earth-fixed positions; docs/coordinates.md defines the frames. Values, any thread.
namespace sarm {

/// Ellipsoid of revolution, m. Equal axes (a sphere) are allowed.
struct Ellipsoid {
    double semiMajorAxisM = constants::wgs84SemiMajorAxisM;
    double semiMinorAxisM = constants::wgs84SemiMinorAxisM;
};

/// Geodetic position: degrees east and north, m above the ellipsoid.
struct GroundPosition {
    double lonDeg = 0, latDeg = 0, heightM = 0;
};

/// Position in the image file: from 0 at the centre of the first pixel of the first line.
struct ImagePosition {
    double sample = 0, line = 0;
};

/// @return earth-fixed position, m; closed form, 1e-9 m.
RF_PLATFORM_API Vec3 toEarthFixed(const GroundPosition& ground, const Ellipsoid& ellipsoid);

/// @return unit vector along the ellipsoid's outward normal.
RF_PLATFORM_API Vec3 upDirection(const GroundPosition& ground);

/// @return longitude -180..180, latitude and height of an earth-fixed position, m; 1e-8 m between
///         -10 and +10 km of height.
/// Source: B. R. Bowring, The accuracy of geodetic latitude and height equations, Survey Review 28
/// (1985).
RF_PLATFORM_API GroundPosition toGeodetic(const Vec3& position, const Ellipsoid& ellipsoid);

/// @return angle between the line of sight from an antenna, earth-fixed, and the ellipsoid's normal
///         at a ground point, degrees.
RF_PLATFORM_API double incidenceDeg(const GroundPosition& ground, const Vec3& antenna,
                                    const Ellipsoid& ellipsoid);

} // namespace sarm
