// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/raster.h"
#include "product/place/map_frame.h"

#include <cstdint>
#include <vector>

/// A map in metres for a picture: UTM, or polar stereographic beyond UTM's range. Near a pole, and
/// where the zone's grid is rotated against north by more than half a degree, the projection is
/// centred on the scene's meridian.
class PictureMap {
public:
    /// @param longSide  approximate pixels of the map's long side.
    /// @throws loader::Error naming the layer when it cannot be drawn on a map.
    PictureMap(const product::Locator& locator, const product::Raster& layer,
               std::uint32_t longSide);

    const product::MapFrame& frame() const { return frame_; }

    /// Draws an image that was shrunk to cells, by bilinear interpolation; NaN outside the image.
    /// @param cells  row by row, in the image's own order.
    std::vector<float> drawn(const std::vector<float>& cells, std::uint32_t columns,
                             std::uint32_t rows) const;

private:
    product::MapFrame frame_;
    std::vector<KxfrPixel> pixels_; ///< positions in the image, scaled to 0..1
};
