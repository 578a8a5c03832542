// SPDX-License-Identifier: MIT
#include "sarm/sensor_model.h"

#include <algorithm>
#include <limits>

namespace sarm {

namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();

} // namespace

SensorModel::~SensorModel() = default;

std::size_t SensorModel::groundToImage(std::span<const GroundPosition> ground,
                                       std::span<ImagePosition> image) const {
    std::size_t answers = 0;
    for (std::size_t i = 0; i < std::min(ground.size(), image.size()); ++i) {
        const auto found = groundToImage(ground[i]);
        image[i] = found.value_or(ImagePosition{none, none});
        answers += found.has_value();
    }
    return answers;
}

std::size_t SensorModel::groundToImage(std::span<const GroundPosition> ground,
                                       std::span<ImagePosition> image,
                                       std::span<Vec3> space) const {
    for (std::size_t i = 0; i < std::min(ground.size(), space.size()); ++i)
        space[i] = toEarthFixed(ground[i], ellipsoid());
    return groundToImage(ground, image);
}

std::size_t SensorModel::imageToGround(std::span<const ImagePosition> image,
                                       std::span<GroundPosition> ground) const {
    std::size_t answers = 0;
    for (std::size_t i = 0; i < std::min(ground.size(), image.size()); ++i) {
        const double height = ground[i].heightM;
        const auto found = imageToGround(image[i], height);
        ground[i] = found.value_or(GroundPosition{none, none, height});
        answers += found.has_value();
    }
    return answers;
}

Vec3 SensorModel::antennaAt(double) const {
    return {none, none, none};
}

ImagePosition SensorModel::centre() const {
    const ImageSize size = imageSize();
    return {(size.samples - 1) / 2.0, (size.lines - 1) / 2.0};
}

std::vector<GroundPosition> footprint(const SensorModel& model, int pointsPerEdge) {
    const ImageSize size = model.imageSize();
    const ImagePosition corners[] = {{-0.5, -0.5},
                                     {size.samples - 0.5, -0.5},
                                     {size.samples - 0.5, size.lines - 0.5},
                                     {-0.5, size.lines - 0.5}};
    std::vector<GroundPosition> outline;
    for (int edge = 0; edge < 4; ++edge)
        for (int i = 0; i < pointsPerEdge; ++i) {
            const ImagePosition &from = corners[edge], &to = corners[(edge + 1) % 4];
            const double part = static_cast<double>(i) / pointsPerEdge;
            const ImagePosition at{from.sample + part * (to.sample - from.sample),
                                   from.line + part * (to.line - from.line)};
            if (const auto ground = model.imageToGround(at, model.terrainHeightM()))
                outline.push_back(*ground);
        }
    return outline;
}

} // namespace sarm
