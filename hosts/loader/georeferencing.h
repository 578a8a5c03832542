#pragma once

#include "kprj/kprj.h"
#include "kxfr/kxfr.h"
#include "loader/plugin.h"

namespace loader {

/// Where a layer lies, rebuilt from the texts that the plug-in hands out and from nothing else.
struct Georeferencing {
    KprjProjectionPtr projection; ///< of the transform's map; null when the plug-in knows none
    KxfrXFormPtr transform;       ///< null when the plug-in knows none
    std::string remarks;          ///< what the plug-in said on the way, empty if nothing
};

/// What is asked about a layer.
struct PlacedLayer {
    RF_SARLayer* handle;
    const std::string& name;
    std::uint32_t width, height;
};

/// @throws Error naming the layer when the plug-in fails, its texts cannot be decoded, or the
///         sensor model is one of an image of another size.
Georeferencing readGeoreferencing(const Plugin& plugin, const PlacedLayer& layer);

} // namespace loader
