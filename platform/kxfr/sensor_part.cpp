// SPDX-License-Identifier: MIT
#include "kxfr/sensor_part.h"

#include <algorithm>

namespace kxfr {
namespace {

/// Points per call of the model: a few pages of stack, but long enough to be efficient.
constexpr std::size_t batch = 256;

} // namespace

void SensorPart::towardsPixels(std::span<KxfrMapPoint> points) const {
    sarm::GroundPosition ground[batch];
    sarm::ImagePosition image[batch];
    for (std::size_t done = 0; done < points.size(); done += batch) {
        const auto some = points.subspan(done, std::min(batch, points.size() - done));
        for (std::size_t i = 0; i < some.size(); ++i)
            ground[i] = {some[i].x, some[i].y, some[i].heightM};
        sensorModel()->groundToImage(std::span(ground, some.size()), std::span(image, some.size()));
        for (std::size_t i = 0; i < some.size(); ++i)
            some[i] = {image[i].sample, image[i].line, some[i].heightM};
    }
}

void SensorPart::towardsMap(std::span<KxfrMapPoint> points) const {
    sarm::GroundPosition ground[batch];
    sarm::ImagePosition image[batch];
    for (std::size_t done = 0; done < points.size(); done += batch) {
        const auto some = points.subspan(done, std::min(batch, points.size() - done));
        for (std::size_t i = 0; i < some.size(); ++i) {
            image[i] = {some[i].x, some[i].y};
            ground[i].heightM = some[i].heightM;
        }
        sensorModel()->imageToGround(std::span(image, some.size()), std::span(ground, some.size()));
        for (std::size_t i = 0; i < some.size(); ++i)
            some[i] = {ground[i].lonDeg, ground[i].latDeg, some[i].heightM};
    }
}

kmif::DesignPtr ellipsoidDesign(KERR_REPORT** slot) {
    return kmif::DesignPtr(
        kmif_DesignCreate(nullptr, "Ellipsoid",
                          {{kmifFloat64, "semiMajorAxis"}, {kmifFloat64, "semiMinorAxis"}}, slot));
}

} // namespace kxfr
