// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/elevation.h"
#include "product/place/place.h"

#include <memory>
#include <span>

namespace product {

/// Places between an image's pixels and the ground. Pixels count from 0 at the centre of the first
/// one; ground points are x longitude (-180..180) and y latitude in degrees on WGS 84, heights in m
/// above the ellipsoid. Points that have no answer become NaN. One thread at a time; more of them
/// share the place.
class Locator {
public:
    /// @throws loader::Error naming the layer when nothing says where it lies on the earth.
    Locator(const OpenedProduct& opened, const loader::Layer& layer);
    /// @param origin  where the image's first pixel lies in the place's grid: (0, 0) but for parts
    ///        of a larger one.
    explicit Locator(std::shared_ptr<const Place> place, KxfrPixel origin = {});

    /// @return whether heights have a bearing: a sensor model, or rational functions.
    bool usesHeight() const { return place_->usesHeight(); }
    double sceneHeightM() const { return place_->transform->sceneHeightM(); }
    const std::string& remarks() const { return place_->remarks; }
    const std::shared_ptr<const Place>& place() const { return place_; }
    const KxfrPixel& origin() const { return origin_; }

    /// Heights are taken from ground[i].heightM.
    void toGround(std::span<const KxfrPixel> pixels, std::span<KxfrMapPoint> ground) const;
    /// As toGround, at the height that the elevation model has there; heightM receives it. Where
    /// terrain folds over in the picture, one of the places that a pixel shows is found.
    /// @throws loader::Error when the elevation model cannot be read.
    void toTerrain(std::span<const KxfrPixel> pixels, std::span<KxfrMapPoint> ground,
                   const kimg::ElevationModel& elevation) const;
    void toImage(std::span<const KxfrMapPoint> ground, std::span<KxfrPixel> pixels) const;

private:
    std::shared_ptr<const Place> place_;
    KxfrPixel origin_;
    std::unique_ptr<KprjGeographicConverter> converter_; ///< null: the map is WGS 84 itself
};

/// @throws loader::Error when the elevation model cannot be read.
void setHeights(std::span<KxfrMapPoint> ground, const kimg::ElevationModel& elevation);

} // namespace product
