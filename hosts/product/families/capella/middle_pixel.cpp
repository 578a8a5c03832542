// SPDX-License-Identifier: MIT
#include "product/families/capella/middle_pixel.h"

#include "loader/plugin.h"
#include "product/families/document_text.h"
#include "sarm/geodesy.h"

#include <cmath>

namespace product {

std::optional<TiePoint> middlePixel(const kfio::ProductTree& document, const std::string& file) {
    constexpr char path[] = "collect/image/center_pixel/target_position";
    const kfio::ProductTree* list = elementAt(document, path);
    if (!list)
        return std::nullopt;
    std::vector<double> numbers;
    for (const auto& [key, element] : *list)
        numbers.push_back(numberOrNan(element.data()));
    if (numbers.size() != 3 || !std::isfinite(numbers[0] + numbers[1] + numbers[2]))
        throw loader::Error(file + ": " + path + " is no position of three numbers");
    const auto ground = sarm::toGeodetic({numbers[0], numbers[1], numbers[2]}, sarm::Ellipsoid());
    const auto half = [&](const char* size) { return parseSize(textAt(document, size), file) / 2; };
    return TiePoint{1.0 * half("collect/image/rows"), 1.0 * half("collect/image/columns"),
                    ground.latDeg, ground.lonDeg, ground.heightM};
}

} // namespace product
