#pragma once

#include "kimg/georeferencing.h"
#include "product/opened_product.h"

namespace product {

/// A part of an image, in pixels.
struct Window {
    std::uint32_t x = 0, y = 0, width = 0, height = 0;
};

/// Where a window of a layer lies, in the terms of image files.
struct Placement {
    /// The geotransform of a map; else a grid of GCPs, in a system in which they do not break at
    /// the antimeridian or a pole, and the RPC of a sensor model. Nothing if the plug-in knows
    /// nothing.
    kimg::Georeferencing place;
    double sceneHeightM = 0; ///< above the ellipsoid; the GCPs lie there
    std::string remarks;     ///< why something is missing, empty if nothing to tell
};

/// @throws loader::Error naming the layer when its georeferencing cannot be read.
Placement placementOf(const OpenedProduct& opened, const loader::Layer& layer,
                      const Window& window);

} // namespace product
