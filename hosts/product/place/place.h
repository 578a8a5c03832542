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

/// What tells where an image lies, best first. Every host takes the first that there is.
enum class PlaceSource {
    model,     ///< a sensor model: exact, heights included
    map,       ///< the geotransform of an image that is a map
    functions, ///< rational functions that the product, or else the image file, states
    ties,      ///< tie points of the product, or else of the image file: one height, polynomials
    nothing,
};

/// Where an image lies. Constant once made; any thread may use it.
struct Place {
    PlaceSource source = PlaceSource::nothing;
    KxfrXFormPtr transform;       ///< null for nothing
    KprjProjectionPtr projection; ///< of the transform's map; null when the image names none
    std::vector<TiePoint> ties;   ///< that `ties` or `functions` stand on
    std::optional<sarm::Rpc> functions;
    std::string remarks; ///< why it is not better, empty if nothing to tell

    std::string layer; ///< for which it was found
    bool usesHeight() const { return transform && transform->sensorModel(); }
};

/// @param layer  a layer on the image's grid.
/// @throws loader::Error naming the layer when the plug-in's texts cannot be decoded, or what
///         tells the place is of an image of another size.
Place placeOf(const OpenedProduct& opened, const loader::Layer& layer);

/// As above for an image whose layer the plug-in may not be able to open.
/// @param layer  name of the layer; width, height of the image.
Place placeOf(const OpenedProduct& opened, const std::string& layer, std::uint32_t width,
              std::uint32_t height);

/// As above for an image that is a part of the common grid of bursts, or a whole one that no layer
/// of the plug-in shows; nothing is thrown where there is no model, remarks tell.
/// @param name  of the image, for messages.
Place placeOf(const OpenedProduct& opened, const GridPart& part, const std::string& name);

} // namespace product
