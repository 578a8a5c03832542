// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/georeferencing.h"
#include "product/place/place.h"
#include "product/place/rpc_items.h"

namespace product {

/// A part of an image, in pixels.
struct Window {
    std::uint32_t x = 0, y = 0, width = 0, height = 0;
};

/// Where a window of an image lies, in the terms of image files: the geotransform of a map; else
/// GCPs, in a system in which they do not break at the antimeridian or a pole. Functions of ground
/// positions come from publishedRpc. Nothing when nothing is known.
///
/// A sensor model gives 11 x 11 GCPs at the height of the scene. The product's own grid would not
/// do: it knows nothing of windows, its heights follow the terrain, which polynomials cannot, and
/// where it differs from the model by a constant, so would the hosts' answers. Tie points that are
/// themselves what tells the place are passed on as they stand.
/// @param window  of the image that the place is of; one that is only a part of the place's grid
///        (a burst of a swath) is a window like others.
/// @throws loader::Error when the system for them cannot be made.
kimg::Georeferencing placementOf(const Place& place, const Window& window);

/// GCPs in longitude and latitude taken to a system in which they do not break: UTM where they
/// cross the antimeridian, polar stereographic (UPS) beyond 84 degrees.
/// @param gcps  in WGS 84 longitude and latitude.
kimg::Georeferencing withoutBreaks(std::vector<kimg::GroundControlPoint> gcps);

/// @return tie points of an image as GCPs of a window of it.
std::vector<kimg::GroundControlPoint> gcpsOf(const std::vector<TiePoint>& ties,
                                             const Window& window);

/// The rational functions of a window: those fitted to the sensor model where they are within 0.1
/// pixel of it; else the product's own where these are; of a place without model the ones that it
/// stands on. Errors are stated (ERR_BIAS, ERR_RAND). None fit over a pole.
/// @param remarks  receives why there are none, if there could have been some.
RpcItems publishedRpc(const OpenedProduct& opened, const Place& place, const Window& window,
                      std::string& remarks);

} // namespace product
