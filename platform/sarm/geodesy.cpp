#include "sarm/geodesy.h"

#include <numbers>

namespace sarm {

Vec3 upDirection(const GroundPosition& ground) {
    const double lon = ground.lonDeg * (std::numbers::pi / 180);
    const double lat = ground.latDeg * (std::numbers::pi / 180);
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

} // namespace sarm
