// SPDX-License-Identifier: MIT
#pragma once

#include "product/bursts/grid_part.h"
#include "product/opened_product.h"
#include "sarm/rpc.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace product {

/// Sources of an image's georeferencing, best first. Every host uses the first that exists.
enum class PlaceSource {
    model,     ///< a sensor model: exact, heights included
    map,       ///< the geotransform of an image that is a map
    functions, ///< rational functions that the product, or else the image file, states
    ties,      ///< tie points of the product, or else of the image file: one height, polynomials
    nothing,
};

/// An image's georeferencing. Constant once made; any thread may use it.
struct Place {
    PlaceSource source = PlaceSource::nothing;
    KxfrXFormPtr transform;       ///< null for nothing
    KprjProjectionPtr projection; ///< of the transform's map; null when the image names none
    std::vector<TiePoint> ties;   ///< the tie points used with `ties` or `functions`
    std::optional<sarm::Rpc> functions;
    std::string remarks; ///< why no better source serves; may be empty

    std::string layer; ///< the layer it belongs to
    bool usesHeight() const { return transform && transform->sensorModel(); }
};

/// @param layer  a layer on the image's grid.
/// @throws loader::Error naming the layer when the plug-in's texts cannot be decoded, or when the
///         source is for an image of another size.
Place placeOf(const OpenedProduct& opened, const loader::Layer& layer);

/// As above for an image whose layer the plug-in may not be able to open.
/// @param layer  name of the layer; width, height of the image.
Place placeOf(const OpenedProduct& opened, const std::string& layer, std::uint32_t width,
              std::uint32_t height);

/// As above for a part of the common grid of bursts, or a whole image that no plug-in layer shows.
/// Does not throw when there is no model: the remarks say why.
/// @param name  of the image, for messages.
Place placeOf(const OpenedProduct& opened, const GridPart& part, const std::string& name);

} // namespace product
