#include "sarm/model.h"

#include "sarm/model_kernels.h"

#include <algorithm>
#include <numbers>

namespace sarm {

Model::Model(const ModelParameters& parameters) : parameters_(parameters) {}

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

std::size_t Model::imageToGround(std::span<const ImagePosition> image,
                                 std::span<GroundPosition> ground) const {
    return usableModelKernels().front().imageToGround(parameters_, image.data(), ground.data(),
                                                      std::min(ground.size(), image.size()));
}

std::optional<double> Model::incidenceDeg(const ImagePosition& image, double heightM) const {
    const std::optional<GroundPosition> ground = imageToGround(image, heightM);
    if (!ground)
        return std::nullopt;
    const RadarGrid& grid = parameters_.grid;
    const double time = grid.timeOfLine0S + image.line * grid.timePerLineS;
    const Vec3 sight =
        stateAt(parameters_.orbit, time).position - toEarthFixed(*ground, parameters_.ellipsoid);
    return std::acos(dot(sight, upDirection(*ground)) / norm(sight)) * (180 / std::numbers::pi);
}

ImagePosition Model::centre() const {
    return {(parameters_.grid.numberOfSamples - 1) / 2.0,
            (parameters_.grid.numberOfLines - 1) / 2.0};
}

std::vector<GroundPosition> footprint(const Model& model, int pointsPerEdge) {
    const RadarGrid& grid = model.parameters().grid;
    const ImagePosition corners[] = {{-0.5, -0.5},
                                     {grid.numberOfSamples - 0.5, -0.5},
                                     {grid.numberOfSamples - 0.5, grid.numberOfLines - 0.5},
                                     {-0.5, grid.numberOfLines - 0.5}};
    std::vector<GroundPosition> outline;
    for (int edge = 0; edge < 4; ++edge)
        for (int i = 0; i < pointsPerEdge; ++i) {
            const ImagePosition &from = corners[edge], &to = corners[(edge + 1) % 4];
            const double part = static_cast<double>(i) / pointsPerEdge;
            const ImagePosition at{from.sample + part * (to.sample - from.sample),
                                   from.line + part * (to.line - from.line)};
            if (const auto ground = model.imageToGround(at, model.parameters().terrainHeightM))
                outline.push_back(*ground);
        }
    return outline;
}

} // namespace sarm
