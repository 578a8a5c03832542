// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/elevation.h"
#include "product/place/place.h"

#include <memory>
#include <span>

namespace product {

/// Converts between an image's pixels and the ground. Pixels count from 0 at the centre of the
/// first one; ground points are x longitude (-180..180) and y latitude in degrees on WGS 84,
/// heights in m above the ellipsoid. Points without a solution become NaN. Each thread needs a
/// Locator of its own; several can share one Place.
class Locator {
public:
    /// @throws loader::Error naming the layer when it has no georeferencing.
    Locator(const OpenedProduct& opened, const loader::Layer& layer);
    /// @param origin  position of the image's first pixel in the place's grid; (0, 0) unless the
    ///        image is a part of a larger grid.
    explicit Locator(std::shared_ptr<const Place> place, KxfrPixel origin = {});

    /// @return whether heights matter, as for sensor models and rational functions.
    bool usesHeight() const { return place_->usesHeight(); }
    double sceneHeightM() const { return place_->transform->sceneHeightM(); }
    const std::string& remarks() const { return place_->remarks; }
    const std::shared_ptr<const Place>& place() const { return place_; }
    const KxfrPixel& origin() const { return origin_; }

    /// Heights are taken from ground[i].heightM.
    void toGround(std::span<const KxfrPixel> pixels, std::span<KxfrMapPoint> ground) const;
    /// As toGround, at the height of the elevation model, which heightM receives. In layover, where
    /// a pixel shows several places, it finds one of them.
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
