// SPDX-License-Identifier: MIT
#include "pictures/orientation.h"

#include "pictures/picture_place.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

/// A direction on the ground.
struct Direction {
    double east, north;
};

Direction directionAt(double bearing, bool reversed) {
    const double sign = reversed ? -1 : 1;
    return {sign * std::sin(bearing), sign * std::cos(bearing)};
}

/// The ground directions of the picture's right and bottom.
struct Sides {
    Direction right, down;
};

Sides sidesOf(const GroundGrid& grid, const Orientation& how) {
    const double right = how.transposed ? grid.lineBearing : grid.sampleBearing;
    const double down = how.transposed ? grid.sampleBearing : grid.lineBearing;
    return {directionAt(right, how.mirroredAcross), directionAt(down, how.mirroredDown)};
}

std::uint32_t pixelsOf(double size) {
    return static_cast<std::uint32_t>(std::max(1.0, std::round(size)));
}

} // namespace

std::string Orientation::text() const {
    const bool both = mirroredAcross && mirroredDown, one = mirroredAcross != mirroredDown;
    if (transposed)
        return one ? (mirroredAcross ? "turned by 90 degrees clockwise"
                                     : "turned by 90 degrees counterclockwise")
                   : (both ? "turned by 90 degrees clockwise and mirrored top to bottom"
                           : "turned by 90 degrees clockwise and mirrored left to right");
    return both             ? "turned by 180 degrees"
           : mirroredAcross ? "mirrored left to right"
           : mirroredDown   ? "mirrored top to bottom"
                            : "as stored";
}

KxfrPixel PictureLayout::toImage(double x, double y) const {
    if (orientation.mirroredAcross)
        x = width - 1 - x;
    if (orientation.mirroredDown)
        y = height - 1 - y;
    const double across = (x + 0.5) / width, down = (y + 0.5) / height;
    return {(orientation.transposed ? down : across) * imageWidth - 0.5,
            (orientation.transposed ? across : down) * imageHeight - 0.5};
}

std::pair<double, double> PictureLayout::toPicture(const KxfrPixel& pixel) const {
    const double sample = (pixel.sample + 0.5) / imageWidth;
    const double line = (pixel.line + 0.5) / imageHeight;
    double x = (orientation.transposed ? line : sample) * width - 0.5;
    double y = (orientation.transposed ? sample : line) * height - 0.5;
    if (orientation.mirroredAcross)
        x = width - 1 - x;
    if (orientation.mirroredDown)
        y = height - 1 - y;
    return {x, y};
}

std::pair<std::uint32_t, std::uint32_t> PictureLayout::cells() const {
    const std::uint32_t across = orientation.transposed ? height : width;
    const std::uint32_t down = orientation.transposed ? width : height;
    return {std::min(across, static_cast<std::uint32_t>(imageWidth)),
            std::min(down, static_cast<std::uint32_t>(imageHeight))};
}

std::vector<float> PictureLayout::arranged(const std::vector<float>& values) const {
    const auto [columns, rows] = cells();
    std::vector<float> picture;
    picture.reserve(std::size_t{width} * height);
    const auto cellAt = [](double place, double size, std::uint32_t count) {
        const double cell = std::floor((place + 0.5) / size * count);
        return static_cast<std::size_t>(std::clamp(cell, 0.0, count - 1.0));
    };
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x) {
            const KxfrPixel pixel = toImage(x, y);
            picture.push_back(values[cellAt(pixel.line, imageHeight, rows) * columns +
                                     cellAt(pixel.sample, imageWidth, columns)]);
        }
    return picture;
}

std::optional<GroundGrid> groundGrid(const product::Locator& locator, double width, double height) {
    constexpr int steps = 8;
    const double lastSample = width - 1, lastLine = height - 1;
    std::vector<KxfrPixel> pixels;
    for (int i = 0; i <= steps; ++i)
        pixels.push_back({lastSample * i / steps, lastLine / 2});
    for (int i = 0; i <= steps; ++i)
        pixels.push_back({lastSample / 2, lastLine * i / steps});
    // Bearings are those at the centre; a pole may be near.
    const double x = lastSample / 2, y = lastLine / 2, far = 0.5;
    pixels.insert(pixels.end(), {{x - far, y}, {x + far, y}, {x, y - far}, {x, y + far}});
    std::vector<KxfrMapPoint> ground(pixels.size(), {0, 0, locator.sceneHeightM()});
    locator.toGround(pixels, ground);
    const auto lengthFrom = [&](std::size_t first) {
        double length = 0;
        for (std::size_t i = first; i < first + steps; ++i)
            length += groundStep(ground[i], ground[i + 1]).lengthM();
        return length;
    };
    const auto bearing = [&](std::size_t first) {
        const GroundStep step = groundStep(ground[first], ground[first + 1]);
        return std::atan2(step.eastM, step.northM);
    };
    constexpr std::size_t line = steps + 1, centre = 2 * line;
    const GroundGrid grid{lengthFrom(0) / std::max(lastSample, 1.0),
                          lengthFrom(line) / std::max(lastLine, 1.0), bearing(centre),
                          bearing(centre + 2)};
    const bool known = std::isfinite(grid.sampleBearing) && std::isfinite(grid.lineBearing) &&
                       grid.sampleM >= 0 && grid.lineM >= 0;
    return known ? std::optional(grid) : std::nullopt;
}

Orientation northUp(const GroundGrid& grid) {
    Orientation best;
    double bestScore = -3;
    for (const bool transposed : {false, true})
        for (const bool across : {false, true})
            for (const bool down : {false, true}) {
                const Orientation how{transposed, across, down};
                const Sides sides = sidesOf(grid, how);
                const double score = sides.right.east - sides.down.north;
                if (score > bestScore + 1e-9) {
                    best = how;
                    bestScore = score;
                }
            }
    return best;
}

double northInPictureDeg(const GroundGrid& grid, const Orientation& orientation) {
    const auto [right, down] = sidesOf(grid, orientation);
    return std::atan2(right.north, -down.north) * 180 / std::numbers::pi;
}

PictureLayout layOut(double imageWidth, double imageHeight, std::uint32_t longSide,
                     const std::optional<GroundGrid>& grid, const Orientation& orientation) {
    constexpr double mostRatio = 1000;   // plausible ratio of a pixel's sides
    constexpr double squareRatio = 1.02; // below, the file's own pixels are used unchanged
    double sampleM = grid ? grid->sampleM : 1, lineM = grid ? grid->lineM : 1;
    const double ratio = std::max(sampleM, lineM) / std::min(sampleM, lineM);
    if (!(ratio > squareRatio && ratio < mostRatio))
        sampleM = lineM = 1;
    const double across = imageWidth * sampleM, down = imageHeight * lineM;
    const double pixel = std::max(std::max(across, down) / longSide, std::min(sampleM, lineM));
    PictureLayout layout{imageWidth, imageHeight, pixelsOf(across / pixel), pixelsOf(down / pixel),
                         orientation};
    if (orientation.transposed)
        std::swap(layout.width, layout.height);
    return layout;
}
