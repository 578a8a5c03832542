// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

namespace product {

/// The parts of a layer name "<sensor>_<polarization>_<kind>_<number>".
struct LayerName {
    std::string sensor;
    std::string pole;
    std::string kind;
    int number = 0;

    bool isPhase() const { return kind == "PHASE"; }
};
LayerName parseLayerName(const std::string& name);

/// @param inPairs  whether each image has a magnitude and a phase layer.
/// @return the position of the image that serves a layer, in the product's order.
std::size_t imageOfLayer(const LayerName& name, bool inPairs);

} // namespace product
