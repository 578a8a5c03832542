// SPDX-License-Identifier: MIT
#include "pictures/picture_place.h"

#include "loader/heard.h"
#include "rf_constants.h"

#include <cmath>

namespace {

class ImagePlace final : public PicturePlace {
public:
    ImagePlace(const product::Locator& locator, const PictureLayout& layout)
        : locator_(locator), layout_(layout) {}

    std::vector<KxfrMapPoint> toGround(const std::vector<Overlay::Spot>& spots) const override {
        std::vector<KxfrPixel> pixels;
        pixels.reserve(spots.size());
        for (const auto& [x, y] : spots)
            pixels.push_back(layout_.toImage(x, y));
        std::vector<KxfrMapPoint> ground(pixels.size(), {0, 0, locator_.sceneHeightM()});
        locator_.toGround(pixels, ground);
        return ground;
    }

    std::vector<Overlay::Spot> toPicture(const std::vector<KxfrMapPoint>& ground) const override {
        std::vector<KxfrMapPoint> atHeight = ground;
        for (KxfrMapPoint& point : atHeight)
            point.heightM = locator_.sceneHeightM();
        std::vector<KxfrPixel> pixels(ground.size());
        locator_.toImage(atHeight, pixels);
        std::vector<Overlay::Spot> spots;
        spots.reserve(pixels.size());
        for (const KxfrPixel& pixel : pixels) {
            const auto [x, y] = layout_.toPicture(pixel);
            spots.push_back({x, y});
        }
        return spots;
    }

private:
    const product::Locator& locator_;
    PictureLayout layout_;
};

class MapPlace final : public PicturePlace {
public:
    explicit MapPlace(const product::MapFrame& frame) : frame_(frame) {
        kerr::Slot slot;
        const KprjProjectionPtr projection(kprj_ProjectionFromText(frame.wkt, slot));
        converter_ = projection ? KprjGeographicConverter::create(*projection, slot) : nullptr;
        if (!converter_)
            throw loader::Error(loader::Heard::text(*slot.get()));
    }

    std::vector<KxfrMapPoint> toGround(const std::vector<Overlay::Spot>& spots) const override {
        std::vector<KxfrMapPoint> points;
        points.reserve(spots.size());
        for (const auto& [x, y] : spots)
            points.push_back(
                {frame_.left + (x + 0.5) * frame_.step, frame_.top - (y + 0.5) * frame_.step, 0});
        if (!points.empty())
            converter_->toGeographic(&points[0].x, &points[0].y, sizeof points[0], points.size());
        return points;
    }

    std::vector<Overlay::Spot> toPicture(const std::vector<KxfrMapPoint>& ground) const override {
        std::vector<KxfrMapPoint> points = ground;
        if (!points.empty())
            converter_->fromGeographic(&points[0].x, &points[0].y, sizeof points[0], points.size());
        std::vector<Overlay::Spot> spots;
        spots.reserve(points.size());
        for (const KxfrMapPoint& point : points)
            spots.push_back({(point.x - frame_.left) / frame_.step - 0.5,
                             (frame_.top - point.y) / frame_.step - 0.5});
        return spots;
    }

private:
    product::MapFrame frame_;
    std::unique_ptr<KprjGeographicConverter> converter_;
};

} // namespace

std::unique_ptr<PicturePlace> placeOfImage(const product::Locator& locator,
                                           const PictureLayout& layout) {
    return std::make_unique<ImagePlace>(locator, layout);
}

std::unique_ptr<PicturePlace> placeOfMap(const product::MapFrame& frame) {
    return std::make_unique<MapPlace>(frame);
}

double GroundStep::lengthM() const {
    return std::hypot(eastM, northM);
}

/// Radii of curvature of the WGS 84 ellipsoid, midway between the two points.
GroundStep groundStep(const KxfrMapPoint& a, const KxfrMapPoint& b) {
    constexpr double degree = constants::radiansPerDegree;
    constexpr double semiMajorM = 6378137, eccentricitySquared = 0.00669437999014;
    const double lat = (a.y + b.y) / 2 * degree;
    const double w = 1 - eccentricitySquared * std::sin(lat) * std::sin(lat);
    const double meridianM = semiMajorM * (1 - eccentricitySquared) / (w * std::sqrt(w));
    const double normalM = semiMajorM / std::sqrt(w);
    return {normalM * std::cos(lat) * std::remainder(b.x - a.x, 360) * degree,
            meridianM * (b.y - a.y) * degree};
}
