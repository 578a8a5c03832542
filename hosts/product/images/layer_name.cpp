// SPDX-License-Identifier: MIT
#include "product/images/layer_name.h"

#include <algorithm>
#include <cstdlib>

namespace product {

LayerName parseLayerName(const std::string& name) {
    LayerName parsed;
    const auto number = name.rfind('_');
    const auto kind = number == std::string::npos ? number : name.rfind('_', number - 1);
    const auto sensor = name.find('_');
    if (kind == std::string::npos || sensor == kind)
        return parsed;
    parsed.sensor = name.substr(0, sensor);
    parsed.pole = name.substr(sensor + 1, kind - sensor - 1);
    parsed.kind = name.substr(kind + 1, number - kind - 1);
    parsed.number = std::atoi(name.c_str() + number + 1);
    return parsed;
}

std::size_t imageOfLayer(const LayerName& name, bool inPairs) {
    const int zeroBased = std::max(name.number - 1, 0);
    return static_cast<std::size_t>(inPairs ? zeroBased / 2 : zeroBased);
}

} // namespace product
