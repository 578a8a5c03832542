// SPDX-License-Identifier: MIT
#pragma once

#include "kprj/kprj.h"
#include "kxfr/kxfr.h"
#include "loader/plugin.h"

namespace loader {

/// Where a layer lies.
struct Georeferencing {
    KprjProjectionPtr projection; ///< of the transform's map; null when none is known
    KxfrXFormPtr transform;       ///< null when none is known
    std::string remarks;          ///< what the plug-in said on the way, empty if nothing
};

/// What is asked about a layer.
struct PlacedLayer {
    RF_SARLayer* handle;
    const std::string& name;
    std::uint32_t width, height;
};

/// A sensor model counts lines and samples of the image that the product states.
/// @throws Error naming the layer when that is another size than the image's own.
void requireSize(const KxfrXForm& transform, const std::string& layer, std::uint32_t width,
                 std::uint32_t height);

/// Rebuilds it from the texts that the plug-in hands out and from nothing else.
/// @throws Error naming the layer when the plug-in fails, its texts cannot be decoded, or the
///         sensor model is one of an image of another size.
Georeferencing readGeoreferencing(const Plugin& plugin, const PlacedLayer& layer);

} // namespace loader
