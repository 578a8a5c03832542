// SPDX-License-Identifier: MIT
#include "sarm/geodesy.h"

#include "rf_constants.h"

namespace sarm {

using constants::radiansPerDegree;

Vec3 upDirection(const GroundPosition& ground) {
    const double lon = ground.lonDeg * radiansPerDegree;
    const double lat = ground.latDeg * radiansPerDegree;
    return {std::cos(lat) * std::cos(lon), std::cos(lat) * std::sin(lon), std::sin(lat)};
}

Vec3 toEarthFixed(const GroundPosition& ground, const Ellipsoid& ellipsoid) {
    const double ratio = ellipsoid.semiMinorAxisM / ellipsoid.semiMajorAxisM;
    const Vec3 up = upDirection(ground);
    const double normalRadius =
        ellipsoid.semiMajorAxisM / std::sqrt(1 - (1 - ratio * ratio) * up.z * up.z);
    const double equatorial = normalRadius + ground.heightM;
    return {equatorial * up.x, equatorial * up.y,
            (normalRadius * ratio * ratio + ground.heightM) * up.z};
}

GroundPosition toGeodetic(const Vec3& position, const Ellipsoid& ellipsoid) {
    const double a = ellipsoid.semiMajorAxisM, b = ellipsoid.semiMinorAxisM;
    const double e2 = 1 - b * b / (a * a), secondE2 = a * a / (b * b) - 1;
    const double axis = std::hypot(position.x, position.y);
    // Bowring's step, twice, with the reduced latitude u: tan u = up / out, and
    // tan lat = (z + e'2 b sin3 u) / (p - e2 a cos3 u).
    double up = b * position.z * (1 + secondE2 * b / norm(position)), out = a * axis;
    double sinLat = 0, cosLat = 1;
    for (int step = 0; step < 2; ++step) {
        const double scale = std::hypot(up, out), sinU = up / scale, cosU = out / scale;
        const double tanUp = position.z + secondE2 * b * sinU * sinU * sinU;
        const double tanOut = axis - e2 * a * cosU * cosU * cosU;
        const double length = std::hypot(tanUp, tanOut);
        sinLat = tanUp / length;
        cosLat = tanOut / length;
        up = b * sinLat;
        out = a * cosLat;
    }
    return {std::atan2(position.y, position.x) / radiansPerDegree,
            std::atan2(sinLat, cosLat) / radiansPerDegree,
            axis * cosLat + position.z * sinLat - a * std::sqrt(1 - e2 * sinLat * sinLat)};
}

double incidenceDeg(const GroundPosition& ground, const Vec3& antenna, const Ellipsoid& ellipsoid) {
    const Vec3 sight = antenna - toEarthFixed(ground, ellipsoid);
    return std::acos(dot(sight, upDirection(ground)) / norm(sight)) / radiansPerDegree;
}

} // namespace sarm
