// SPDX-License-Identifier: MIT
#include "output/geojson.h"

#include <nlohmann/json.hpp>

#include <algorithm>

using nlohmann::ordered_json;

namespace {

ordered_json ringJson(const std::vector<product::LonLat>& ring) {
    auto points = ordered_json::array();
    for (const product::LonLat& point : ring)
        points.push_back({point.lonDeg, point.latDeg});
    return points;
}

} // namespace

ordered_json footprintJson(const product::Footprint& footprint) {
    if (footprint.polygons.empty())
        return nullptr;
    auto parts = ordered_json::array();
    for (const auto& ring : footprint.polygons)
        parts.push_back(ordered_json::array({ringJson(ring)}));
    if (parts.size() == 1)
        return {{"type", "Polygon"}, {"coordinates", parts[0]}};
    return {{"type", "MultiPolygon"}, {"coordinates", parts}};
}

ordered_json boundingBox(const product::Footprint& footprint) {
    const auto byLongitude = [](const product::LonLat& a, const product::LonLat& b) {
        return a.lonDeg < b.lonDeg;
    };
    double west = 180, east = -180, south = 90, north = -90;
    double westOfSeam = 180, eastOfSeam = -180; // edges of the pieces on either side of it
    bool touchesEast = false, touchesWest = false;
    for (const auto& ring : footprint.polygons) {
        const auto [first, last] = std::minmax_element(ring.begin(), ring.end(), byLongitude);
        west = std::min(west, first->lonDeg);
        east = std::max(east, last->lonDeg);
        if (last->lonDeg == 180) {
            touchesEast = true;
            westOfSeam = std::min(westOfSeam, first->lonDeg);
        }
        if (first->lonDeg == -180) {
            touchesWest = true;
            eastOfSeam = std::max(eastOfSeam, last->lonDeg);
        }
        for (const product::LonLat& point : ring) {
            south = std::min(south, point.latDeg);
            north = std::max(north, point.latDeg);
        }
    }
    if (footprint.polygons.size() > 1 && touchesEast && touchesWest)
        return {westOfSeam, south, eastOfSeam, north};
    return {west, south, east, north};
}
