// SPDX-License-Identifier: MIT
#pragma once

#include "pictures/orientation.h"
#include "pictures/overlay.h"
#include "product/place/locator.h"
#include "product/place/map_frame.h"

#include <memory>
#include <vector>

/// The georeferencing of a picture. Points without a solution become NaN.
class PicturePlace {
public:
    virtual ~PicturePlace() = default;

    /// @return longitudes and latitudes in degrees on WGS 84, at the height of the scene.
    virtual std::vector<KxfrMapPoint> toGround(const std::vector<Overlay::Spot>& spots) const = 0;
    /// @param ground  longitude and latitude in degrees; heights are ignored, the scene's height is
    ///        used.
    virtual std::vector<Overlay::Spot> toPicture(const std::vector<KxfrMapPoint>& ground) const = 0;
};

/// A picture of an image in its own grid, rotated and mirrored.
/// @param locator  must outlive what is returned.
std::unique_ptr<PicturePlace> placeOfImage(const product::Locator& locator,
                                           const PictureLayout& layout);

/// A picture on a map.
/// @throws loader::Error when the frame's system cannot be used.
std::unique_ptr<PicturePlace> placeOfMap(const product::MapFrame& frame);

/// East and north distances in metres on the ellipsoid, between two points near each other.
struct GroundStep {
    double eastM, northM;
    double lengthM() const;
};
GroundStep groundStep(const KxfrMapPoint& a, const KxfrMapPoint& b);
