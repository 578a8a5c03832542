// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/raster.h"
#include "product/place/map_frame.h"

#include <cstdint>
#include <vector>

/// A map in metres for a picture: UTM, or beyond its reach polar stereographic; where the grid of
/// its zone is turned against north by more than half a degree, or near a pole, on the meridian
/// of the scene.
class PictureMap {
public:
    /// @param longSide  pixels of the map's long side, about.
    /// @throws loader::Error naming the layer when it has no place on a map.
    PictureMap(const product::Locator& locator, const product::Raster& layer,
               std::uint32_t longSide);

    const product::MapFrame& frame() const { return frame_; }

    /// Draws an image that was shrunk to cells, bilinearly; not-a-number where it does not lie.
    /// @param cells  row by row, in the image's own order.
    std::vector<float> drawn(const std::vector<float>& cells, std::uint32_t columns,
                             std::uint32_t rows) const;

private:
    product::MapFrame frame_;
    std::vector<KxfrPixel> pixels_; ///< of the image, in its cells' scale 0..1
};
