// SPDX-License-Identifier: MIT
#include "sarm/model.h"

#include "sarm/model_kernels.h"

#include <algorithm>

namespace sarm {

Model::Model(const ModelParameters& parameters) : parameters_(parameters) {}

ImageSize Model::imageSize() const {
    return {parameters_.grid.numberOfSamples, parameters_.grid.numberOfLines};
}

std::optional<ImagePosition> Model::groundToImage(const GroundPosition& ground) const {
    ImagePosition image;
    if (usableModelKernels().front().groundToImage(parameters_, &ground, &image, 1) == 0)
        return std::nullopt;
    return image;
}

std::optional<GroundPosition> Model::imageToGround(const ImagePosition& image,
                                                   double heightM) const {
    GroundPosition ground{0, 0, heightM};
    if (usableModelKernels().front().imageToGround(parameters_, &image, &ground, 1) == 0)
        return std::nullopt;
    return ground;
}

std::size_t Model::groundToImage(std::span<const GroundPosition> ground,
                                 std::span<ImagePosition> image) const {
    return usableModelKernels().front().groundToImage(parameters_, ground.data(), image.data(),
                                                      std::min(ground.size(), image.size()));
}

std::size_t Model::groundToImage(std::span<const GroundPosition> ground,
                                 std::span<ImagePosition> image, std::span<Vec3> space) const {
    return usableModelKernels().front().groundToImageAndSpace(
        parameters_, ground.data(), image.data(), space.data(),
        std::min({ground.size(), image.size(), space.size()}));
}

std::size_t Model::imageToGround(std::span<const ImagePosition> image,
                                 std::span<GroundPosition> ground) const {
    return usableModelKernels().front().imageToGround(parameters_, image.data(), ground.data(),
                                                      std::min(ground.size(), image.size()));
}

Vec3 Model::antennaAt(double line) const {
    const RadarGrid& grid = parameters_.grid;
    return stateAt(parameters_.orbit, grid.timeOfLine0S + line * grid.timePerLineS).position;
}

std::optional<double> Model::incidenceDeg(const ImagePosition& image, double heightM) const {
    const std::optional<GroundPosition> ground = imageToGround(image, heightM);
    if (!ground)
        return std::nullopt;
    return sarm::incidenceDeg(*ground, antennaAt(image.line), parameters_.ellipsoid);
}

} // namespace sarm
