// SPDX-License-Identifier: MIT
#pragma once

#include "kprj/kprj.h"
#include "kxfr/kxfr.h"
#include "loader/plugin.h"

namespace loader {

/// A layer's georeferencing.
struct Georeferencing {
    KprjProjectionPtr projection; ///< of the transform's map; null when none is known
    KxfrXFormPtr transform;       ///< null when none is known
    std::string remarks;          ///< what the plug-in reported meanwhile; may be empty
};

/// The layer in question.
struct PlacedLayer {
    RF_SARLayer* handle;
    const std::string& name;
    std::uint32_t width, height;
};

/// Checks that a sensor model fits the image: it counts lines and samples as the product states
/// them.
/// @throws Error naming the layer when the model is for another image size.
void requireSize(const KxfrXForm& transform, const std::string& layer, std::uint32_t width,
                 std::uint32_t height);

/// Rebuilds the georeferencing from the texts that the plug-in returns, and from nothing else.
/// @throws Error naming the layer when the plug-in fails, its texts cannot be decoded, or the
///         sensor model is for another image size.
Georeferencing readGeoreferencing(const Plugin& plugin, const PlacedLayer& layer);

} // namespace loader
