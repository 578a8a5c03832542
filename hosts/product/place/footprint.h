// SPDX-License-Identifier: MIT
#pragma once

#include "product/place/locator.h"

#include <vector>

namespace product {

struct LonLat {
    double lonDeg = 0, latDeg = 0;
};

/// The outline of a layer on the ground, in the form of RFC 7946.
struct Footprint {
    /// Closed rings, counterclockwise, longitudes -180..180: one, or one on each side of the
    /// antimeridian. A ring around a pole runs along the antimeridian and the pole's line.
    std::vector<std::vector<LonLat>> polygons;
    /// First sample and last sample of the first line, last and first sample of the last line.
    std::vector<LonLat> corners;
};

/// The outer pixel edges at the scene's height. Points are dense enough for straight lines in
/// longitude and latitude between them.
/// @return no polygons when a part of the outline does not meet the ground.
Footprint footprintOf(const Locator& locator, double width, double height);

/// The polygons of a closed outline with dense points, traversed once.
std::vector<std::vector<LonLat>> polygonsOf(const std::vector<LonLat>& outline);

} // namespace product
