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

/// @throws Error naming the layer when the plug-in fails or its texts cannot be decoded.
Georeferencing readGeoreferencing(const Plugin& plugin, RF_SARLayer* layer,
                                  const std::string& layerName);

} // namespace loader
