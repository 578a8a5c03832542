#pragma once

#include "kimg/elevation.h"
#include "product/opened_product.h"

#include <span>

namespace product {

/// Places between a layer's pixels and the ground. Pixels count from 0 at the centre of the first
/// one; ground points are x longitude (-180..180) and y latitude in degrees on WGS 84, heights in m
/// above the ellipsoid. Points that have no answer become NaN. One thread at a time.
class Locator {
public:
    /// @throws loader::Error naming the layer when it has no georeferencing, or none on the earth.
    Locator(const OpenedProduct& opened, const loader::Layer& layer);

    /// @return whether heights have a bearing: a sensor model. Else the image's own georeferencing
    ///         answers, and remarks() may tell why.
    bool usesHeight() const { return found_.transform->sensorModel() != nullptr; }
    double sceneHeightM() const { return found_.transform->sceneHeightM(); }
    const std::string& remarks() const { return found_.remarks; }

    /// Heights are taken from ground[i].heightM.
    void toGround(std::span<const KxfrPixel> pixels, std::span<KxfrMapPoint> ground) const;
    /// As toGround, at the height that the elevation model has there; heightM receives it. Where
    /// terrain folds over in the picture, one of the places that a pixel shows is found.
    /// @throws loader::Error when the elevation model cannot be read.
    void toTerrain(std::span<const KxfrPixel> pixels, std::span<KxfrMapPoint> ground,
                   const kimg::ElevationModel& elevation) const;
    void toImage(std::span<const KxfrMapPoint> ground, std::span<KxfrPixel> pixels) const;

private:
    loader::Georeferencing found_;
    std::unique_ptr<KprjGeographicConverter> converter_; ///< null: the map is WGS 84 itself
};

/// @throws loader::Error when the elevation model cannot be read.
void setHeights(std::span<KxfrMapPoint> ground, const kimg::ElevationModel& elevation);

} // namespace product
