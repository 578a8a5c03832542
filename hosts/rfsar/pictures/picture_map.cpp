// SPDX-License-Identifier: MIT
#include "pictures/picture_map.h"

#include "rf_constants.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace {

/// The coordinate system for a picture of that place.
std::string systemAt(const KxfrMapPoint& centre) {
    constexpr double degree = constants::radiansPerDegree, mostTurnDeg = 0.5, utmEndDeg = 84;
    char text[160];
    if (std::fabs(centre.y) > utmEndDeg) {
        std::snprintf(text, sizeof text,
                      "+proj=stere +lat_0=%d +lon_0=%.6f +k=0.994 +datum=WGS84 +units=m +type=crs",
                      centre.y > 0 ? 90 : -90, centre.x);
        return text;
    }
    const int zone = std::clamp(static_cast<int>(std::floor((centre.x + 180) / 6)) + 1, 1, 60);
    const double fromMeridian = centre.x - (6.0 * zone - 183);
    if (std::fabs(fromMeridian * std::sin(centre.y * degree)) <= mostTurnDeg)
        return "EPSG:" + std::to_string((centre.y < 0 ? 32700 : 32600) + zone);
    std::snprintf(text, sizeof text,
                  "+proj=tmerc +lat_0=0 +lon_0=%.6f +k=0.9996 +x_0=500000 +y_0=%d +datum=WGS84 "
                  "+units=m +type=crs",
                  centre.x, centre.y < 0 ? 10000000 : 0);
    return text;
}

std::string systemOf(const product::Locator& locator, const product::Raster& layer) {
    const KxfrPixel pixel[] = {{(layer.width() - 1) / 2.0, (layer.height() - 1) / 2.0}};
    KxfrMapPoint centre[] = {{0, 0, locator.sceneHeightM()}};
    locator.toGround(pixel, centre);
    if (!std::isfinite(centre[0].x) || !std::isfinite(centre[0].y))
        throw loader::Error("layer " + layer.name() + ": its centre has no place on the ground");
    return systemAt(centre[0]);
}

/// Interpolates between the centres of the surrounding cells; within half a cell of the edge, takes
/// the cell's own value.
float between(const std::vector<float>& cells, std::uint32_t columns, std::uint32_t rows, double x,
              double y) {
    const double left = std::floor(x), top = std::floor(y);
    double sum = 0, weights = 0;
    for (const int down : {0, 1})
        for (const int across : {0, 1}) {
            const auto column =
                static_cast<std::size_t>(std::clamp(left + across, 0.0, columns - 1.0));
            const auto row = static_cast<std::size_t>(std::clamp(top + down, 0.0, rows - 1.0));
            const double weight =
                (across == 1 ? x - left : 1 - x + left) * (down == 1 ? y - top : 1 - y + top);
            const float cell = cells[row * columns + column];
            if (weight > 0 && !std::isnan(cell)) {
                sum += weight * cell;
                weights += weight;
            }
        }
    return weights >= 0.5 ? static_cast<float>(sum / weights)
                          : std::numeric_limits<float>::quiet_NaN();
}

} // namespace

PictureMap::PictureMap(const product::Locator& locator, const product::Raster& layer,
                       std::uint32_t longSide) {
    product::MapRequest request;
    request.system = systemOf(locator, layer);
    const auto positionsFor = [&] {
        return product::MapPositions(locator.place(), layer.width(), layer.height(), request);
    };
    const product::MapFrame fine = positionsFor().frameOf();
    const double extent = fine.step * std::max(fine.width, fine.height);
    request.resolution = std::max(fine.step, extent / std::max(longSide - 1.0, 1.0));
    const product::MapPositions positions = positionsFor();
    frame_ = positions.frameOf();
    pixels_.reserve(std::size_t{frame_.width} * frame_.height);
    constexpr std::uint32_t linesTogether = 64;
    std::vector<KxfrPixel> part;
    for (std::uint32_t y = 0; y < frame_.height; y += linesTogether) {
        positions.find(frame_, {0, y, frame_.width, std::min(linesTogether, frame_.height - y)},
                       part);
        for (const KxfrPixel& pixel : part)
            pixels_.push_back(
                {(pixel.sample + 0.5) / layer.width(), (pixel.line + 0.5) / layer.height()});
    }
}

std::vector<float> PictureMap::drawn(const std::vector<float>& cells, std::uint32_t columns,
                                     std::uint32_t rows) const {
    std::vector<float> map(pixels_.size(), std::numeric_limits<float>::quiet_NaN());
    for (std::size_t i = 0; i < map.size(); ++i) {
        const auto& [x, y] = pixels_[i];
        if (x >= 0 && x < 1 && y >= 0 && y < 1)
            map[i] = between(cells, columns, rows, x * columns - 0.5, y * rows - 0.5);
    }
    return map;
}
