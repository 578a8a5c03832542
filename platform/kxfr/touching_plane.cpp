// SPDX-License-Identifier: MIT
#include "kxfr/part.h"
#include "rf_constants.h"

#include <cmath>

namespace kxfr {
namespace {

constexpr double degree = constants::radiansPerDegree;

class TouchingPlane final : public Part {
public:
    explicit TouchingPlane(const TouchingPlaneData& data)
        : data_(data), sinCentre_(std::sin(data.centreLatitude * degree)),
          cosCentre_(std::cos(data.centreLatitude * degree)) {}

    std::string_view designName() const override { return "TouchingPlane"; }
    std::string_view to() const override { return "plane"; }
    const void* data() const override { return &data_; }

    void towardsPixels(std::span<KxfrMapPoint> points) const override {
        for (KxfrMapPoint& point : points) {
            const double lat = point.y * degree, lon = (point.x - data_.centreLongitude) * degree;
            const double east = std::cos(lat) * std::sin(lon);
            const double forward = std::cos(lat) * std::cos(lon), up = std::sin(lat);
            const double scale = 2 / (1 + sinCentre_ * up + cosCentre_ * forward);
            point.x = scale * east;
            point.y = scale * (cosCentre_ * up - sinCentre_ * forward);
        }
    }
    void towardsMap(std::span<KxfrMapPoint> points) const override {
        for (KxfrMapPoint& point : points) {
            const double square = point.x * point.x + point.y * point.y;
            const double scale = 4 / (4 + square), towards = (4 - square) / (4 + square);
            const double east = scale * point.x, north = scale * point.y;
            const double forward = cosCentre_ * towards - sinCentre_ * north;
            const double up = sinCentre_ * towards + cosCentre_ * north;
            point.x =
                std::remainder(data_.centreLongitude + std::atan2(east, forward) / degree, 360);
            point.y = std::atan2(up, std::hypot(east, forward)) / degree;
        }
    }

private:
    TouchingPlaneData data_;
    double sinCentre_, cosCentre_;
};

} // namespace

PartPtr makeTouchingPlane(const TouchingPlaneData& data) {
    requireFinite({{data.centreLongitude, data.centreLatitude}});
    if (std::abs(data.centreLatitude) > 90)
        throw std::runtime_error("its centre lies beyond a pole");
    return std::make_unique<TouchingPlane>(data);
}

KmifDesign* touchingPlaneDesign(KERR_REPORT** slot) {
    return kmif_DesignCreate(nullptr, "TouchingPlane",
                             {{kmifFloat64, "centreLongitude"}, {kmifFloat64, "centreLatitude"}},
                             slot);
}

TouchingPlaneData touchingPlaneOf(std::span<const KxfrTie> ties) {
    double x = 0, y = 0, z = 0;
    for (const KxfrTie& tie : ties) {
        x += std::cos(tie.y * degree) * std::cos(tie.x * degree);
        y += std::cos(tie.y * degree) * std::sin(tie.x * degree);
        z += std::sin(tie.y * degree);
    }
    return {std::atan2(y, x) / degree, std::atan2(z, std::hypot(x, y)) / degree};
}

} // namespace kxfr
