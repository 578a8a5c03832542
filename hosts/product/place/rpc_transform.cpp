// SPDX-License-Identifier: MIT
#include "product/place/rpc_transform.h"

#include "kxfr/part.h"

#include <cmath>
#include <limits>

namespace product {
namespace {

using sarm::GroundPosition;
using sarm::ImagePosition;

constexpr double reach = 1.5; ///< in scales from the offsets
constexpr int mostRounds = 30;
constexpr double closePixels = 1e-8;

class RpcModel final : public sarm::SensorModel {
public:
    RpcModel(const sarm::Rpc& rpc, sarm::ImageSize size, double sceneHeightM)
        : rpc_(rpc), size_(size), sceneHeightM_(sceneHeightM) {}

    sarm::ImageSize imageSize() const override { return size_; }
    double terrainHeightM() const override { return sceneHeightM_; }

    std::optional<ImagePosition> groundToImage(const GroundPosition& ground) const override {
        const double east = std::remainder(ground.lonDeg - rpc_.lonOffsetDeg, 360.0);
        if (!(std::abs(east) <= reach * std::abs(rpc_.lonScaleDeg) &&
              std::abs(ground.latDeg - rpc_.latOffsetDeg) <= reach * std::abs(rpc_.latScaleDeg)))
            return std::nullopt;
        const ImagePosition found = sarm::rpcPosition(rpc_, ground);
        return std::isfinite(found.sample) && std::isfinite(found.line) ? std::optional(found)
                                                                        : std::nullopt;
    }

    /// Image to ground by Newton's method in longitude and latitude, with derivatives by
    /// differences.
    std::optional<GroundPosition> imageToGround(const ImagePosition& image,
                                                double heightM) const override {
        const double lonStep = 1e-6 * rpc_.lonScaleDeg, latStep = 1e-6 * rpc_.latScaleDeg;
        GroundPosition ground{rpc_.lonOffsetDeg, rpc_.latOffsetDeg, heightM};
        for (int round = 0; round < mostRounds; ++round) {
            const ImagePosition at = sarm::rpcPosition(rpc_, ground);
            const double dx = image.sample - at.sample, dy = image.line - at.line;
            if (std::abs(dx) < closePixels && std::abs(dy) < closePixels)
                return groundToImage(ground)
                           ? std::optional(GroundPosition{std::remainder(ground.lonDeg, 360.0),
                                                          ground.latDeg, heightM})
                           : std::nullopt;
            const ImagePosition east =
                sarm::rpcPosition(rpc_, {ground.lonDeg + lonStep, ground.latDeg, heightM});
            const ImagePosition north =
                sarm::rpcPosition(rpc_, {ground.lonDeg, ground.latDeg + latStep, heightM});
            const double a = (east.sample - at.sample) / lonStep;
            const double b = (north.sample - at.sample) / latStep;
            const double c = (east.line - at.line) / lonStep;
            const double d = (north.line - at.line) / latStep;
            const double determinant = a * d - b * c;
            ground.lonDeg += (d * dx - b * dy) / determinant;
            ground.latDeg += (a * dy - c * dx) / determinant;
            if (!std::isfinite(ground.lonDeg) || !std::isfinite(ground.latDeg))
                return std::nullopt;
        }
        return std::nullopt;
    }

    /// Rational functions do not contain the line of sight.
    std::optional<double> incidenceDeg(const ImagePosition&, double) const override {
        return std::nullopt;
    }

private:
    sarm::Rpc rpc_;
    sarm::ImageSize size_;
    double sceneHeightM_;
};

class RpcPart final : public kxfr::Part {
public:
    explicit RpcPart(const RpcModel& model) : model_(model) {}

    std::string_view designName() const override { return "RationalFunctions"; }
    std::string_view to() const override { return "pixels"; }
    const void* data() const override { return nullptr; }
    const sarm::SensorModel* sensorModel() const override { return &model_; }

    void towardsPixels(std::span<KxfrMapPoint> points) const override {
        for (KxfrMapPoint& point : points) {
            const auto image =
                model_.groundToImage(GroundPosition{point.x, point.y, point.heightM});
            point.x = image ? image->sample : none;
            point.y = image ? image->line : none;
        }
    }
    void towardsMap(std::span<KxfrMapPoint> points) const override {
        for (KxfrMapPoint& point : points) {
            const auto ground =
                model_.imageToGround(ImagePosition{point.x, point.y}, point.heightM);
            point.x = ground ? ground->lonDeg : none;
            point.y = ground ? ground->latDeg : none;
        }
    }

private:
    static constexpr double none = std::numeric_limits<double>::quiet_NaN();

    RpcModel model_;
};

} // namespace

KxfrXFormPtr rpcTransform(const sarm::Rpc& rpc, int width, int height, double sceneHeightM) {
    std::vector<kxfr::PartPtr> parts;
    parts.push_back(
        std::make_unique<RpcPart>(RpcModel(rpc, sarm::ImageSize{width, height}, sceneHeightM)));
    return KxfrXFormPtr(new KxfrXForm(std::move(parts)));
}

} // namespace product
