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

/// The georeferencing of a window in the form of image files: the geotransform of a map, else GCPs,
/// in a system without a break at the antimeridian or a pole. It is empty when nothing is known.
/// publishedRpc gives the rational functions.
///
/// A sensor model gives 11 x 11 GCPs at the height of the scene. The product's own grid is not used
/// then: it does not fit windows, its heights follow the terrain, which polynomials cannot, and
/// where it differs from the model the hosts would disagree. If the tie points themselves are the
/// source, they are passed on unchanged.
/// @param window  in the place's grid; a burst in a swath's grid is a window like any other.
/// @throws loader::Error when the system for them cannot be made.
kimg::Georeferencing placementOf(const Place& place, const Window& window);

/// Converts GCPs to a system in which they do not break: UTM where they cross the antimeridian,
/// polar stereographic (UPS) beyond 84 degrees.
/// @param gcps  in WGS 84 longitude and latitude.
kimg::Georeferencing withoutBreaks(std::vector<kimg::GroundControlPoint> gcps);

/// @return tie points of an image as GCPs of a window of it.
std::vector<kimg::GroundControlPoint> gcpsOf(const std::vector<TiePoint>& ties,
                                             const Window& window);

/// The rational functions of a window: those fitted to the sensor model if they are within 0.1
/// pixel of it; else the product's own if these are; for a place without model the functions that
/// are its source. They state their errors (ERR_BIAS, ERR_RAND). Over a pole none fit.
/// @param remarks  receives why there are none where some would be expected.
RpcItems publishedRpc(const OpenedProduct& opened, const Place& place, const Window& window,
                      std::string& remarks);

} // namespace product
