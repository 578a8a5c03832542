// SPDX-License-Identifier: MIT
#include "product/place/map_frame.h"

#include "kxfr/smooth_grid.h"
#include "loader/heard.h"
#include "rf_constants.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace product {
namespace {

constexpr int outlineSteps = 32;
constexpr int coverageSteps = 20;
constexpr double none = std::numeric_limits<double>::quiet_NaN();
constexpr double mostPixelsPerPixel = 64; // of the map to one of the image
constexpr double fewestPixels = 1e6;      // that are never too many
constexpr double closePixels = 5e-4;      // to which positions are interpolated

/// Limits of a set of numbers.
struct Span {
    double low = std::numeric_limits<double>::infinity(), high = -low;
    void take(double value) {
        low = std::min(low, value);
        high = std::max(high, value);
    }
    bool empty() const { return !(low <= high); }
};

template <class Object>
Object required(Object made, const std::string& what, const kerr::Slot& slot) {
    if (!made)
        throw loader::Error(what + loader::Heard::text(*slot.get()));
    return made;
}

using Point = MapPoint;
using Points = std::vector<Point>;

std::string sizeText(double width, double height) {
    return std::to_string(static_cast<long long>(width)) + " x " +
           std::to_string(static_cast<long long>(height));
}

} // namespace

MapPositions::MapPositions(std::shared_ptr<const Place> place, std::uint32_t width,
                           std::uint32_t height, const MapRequest& request, KxfrPixel origin)
    : layerName_(place->layer), system_(request.system), width_(width), height_(height),
      resolution_(request.resolution), anySize_(request.anySize),
      locator_(std::move(place), origin) {
    kerr::Slot slot;
    projection_ = required(std::shared_ptr<const KPRJ_PROJECTION>(
                               kprj_ProjectionFromText(system_, slot), KprjProjectionDeleter()),
                           system_ + ": ", slot);
    converter_ =
        required(KprjGeographicConverter::create(*projection_, slot), system_ + ": ", slot);
    if (!request.elevation.paths.empty() && locator_.usesHeight())
        elevation_ = required(kimg::ElevationModel::open(request.elevation, slot), "", slot);
}

MapPositions::MapPositions(const MapPositions& other)
    : layerName_(other.layerName_), system_(other.system_), width_(other.width_),
      height_(other.height_), resolution_(other.resolution_), anySize_(other.anySize_),
      locator_(other.locator_.place(), other.locator_.origin()), projection_(other.projection_) {
    kerr::Slot slot;
    converter_ =
        required(KprjGeographicConverter::create(*projection_, slot), system_ + ": ", slot);
    if (other.elevation_)
        elevation_ = required(other.elevation_->another(slot), "", slot);
}

/// Sets places to NaN that the system cannot represent: converting them back leads elsewhere.
void MapPositions::toMap(const std::vector<KxfrMapPoint>& ground, Points& map) const {
    map.clear();
    for (const KxfrMapPoint& point : ground)
        map.push_back({point.x, point.y});
    converter_->fromGeographic(&map[0].x, &map[0].y, sizeof map[0], map.size());
    Points back = map;
    converter_->toGeographic(&back[0].x, &back[0].y, sizeof back[0], back.size());
    constexpr double closeDeg = 1e-5;
    for (std::size_t i = 0; i < map.size(); ++i) {
        const double turn = std::cos(ground[i].y * constants::radiansPerDegree);
        const double east = std::remainder(back[i].x - ground[i].x, 360.0) * turn;
        if (!(std::abs(east) < closeDeg && std::abs(back[i].y - ground[i].y) < closeDeg))
            map[i] = {none, none};
    }
}

/// Uses a grid over the whole image, so that a pole inside is found.
std::vector<MapPoint> MapPositions::outline(double heightM) const {
    std::vector<KxfrPixel> pixels;
    for (int row = 0; row <= outlineSteps; ++row)
        for (int column = 0; column <= outlineSteps; ++column)
            pixels.push_back(
                {width_ * column / outlineSteps - 0.5, height_ * row / outlineSteps - 0.5});
    std::vector<KxfrMapPoint> ground(pixels.size(), {0, 0, heightM});
    locator_.toGround(pixels, ground);
    Points map;
    toMap(ground, map);
    std::erase_if(map, [](const Point& p) { return !std::isfinite(p.x) || !std::isfinite(p.y); });
    return map;
}

/// Lowest and highest terrain, from a grid of samples.
std::vector<double> MapPositions::outlineHeights() const {
    const double scene = locator_.sceneHeightM();
    if (!elevation_)
        return {scene};
    Points map = outline(scene);
    if (map.empty())
        return {scene};
    converter_->toGeographic(&map[0].x, &map[0].y, sizeof map[0], map.size());
    std::vector<KxfrMapPoint> ground;
    for (const Point& point : map)
        ground.push_back({std::remainder(point.x, 360.0), point.y, 0});
    setHeights(ground, *elevation_);
    Span heights;
    for (const KxfrMapPoint& point : ground)
        if (std::isfinite(point.heightM))
            heights.take(point.heightM);
    if (heights.empty())
        throw loader::Error("layer " + layerName_ + ": the elevation model has no heights there");
    return {heights.low, heights.high};
}

/// The side of a map square with the area of a pixel at the image's centre.
double MapPositions::ownStep() const {
    const double x = (width_ - 1) / 2, y = (height_ - 1) / 2, far = 0.5;
    const std::array<KxfrPixel, 4> pixels = {
        {{x - far, y}, {x + far, y}, {x, y - far}, {x, y + far}}};
    std::vector<KxfrMapPoint> ground(4, {0, 0, locator_.sceneHeightM()});
    locator_.toGround(pixels, ground);
    Points map;
    toMap(ground, map);
    const auto turned = [&](double degrees) {
        return projection_->isGeographic ? std::remainder(degrees, 360.0) : degrees;
    };
    const double area = turned(map[1].x - map[0].x) * (map[3].y - map[2].y) -
                        turned(map[3].x - map[2].x) * (map[1].y - map[0].y);
    return std::sqrt(std::abs(area));
}

MapFrame MapPositions::frameOf() const {
    Span x, y, turned;
    for (const double height : outlineHeights())
        for (const Point& point : outline(height)) {
            x.take(point.x);
            y.take(point.y);
            turned.take(point.x < 0 ? point.x + 360 : point.x);
        }
    const double own = ownStep();
    if (x.empty() || !(own > 0) || !std::isfinite(own))
        throw loader::Error("layer " + layerName_ + ": " + system_ + " does not show its place");
    if (projection_->isGeographic && x.high - x.low > 180 && turned.high - turned.low <= 180)
        x = turned;
    MapFrame frame;
    frame.wkt = projection_->wkt;
    frame.step = resolution_ > 0 ? resolution_ : own;
    frame.reduction = std::max(1.0, frame.step / own);
    frame.left = std::floor(x.low / frame.step) * frame.step;
    frame.top = std::ceil(y.high / frame.step) * frame.step;
    const double width = std::max(1.0, std::ceil((x.high - frame.left) / frame.step));
    const double height = std::max(1.0, std::ceil((frame.top - y.low) / frame.step));
    const double most = std::max(mostPixelsPerPixel * width_ * height_, fewestPixels);
    constexpr double longestSide = std::numeric_limits<std::int32_t>::max();
    if (width > longestSide || height > longestSide ||
        (resolution_ == 0 && !anySize_ && width * height > most))
        throw loader::Error("layer " + layerName_ + ": in " + system_ + " the map would have " +
                            sizeText(width, height) + " pixels for an image of " +
                            sizeText(width_, height_) +
                            "; choose another system, or a coarser resolution");
    frame.width = static_cast<std::uint32_t>(width);
    frame.height = static_cast<std::uint32_t>(height);
    return frame;
}

double MapPositions::coverage() const {
    if (!elevation_)
        return 1;
    std::vector<KxfrPixel> pixels;
    for (int row = 0; row <= coverageSteps; ++row)
        for (int column = 0; column <= coverageSteps; ++column)
            pixels.push_back(
                {(width_ - 1) * column / coverageSteps, (height_ - 1) * row / coverageSteps});
    std::vector<KxfrMapPoint> ground(pixels.size());
    locator_.toTerrain(pixels, ground, *elevation_);
    const auto covered = std::count_if(ground.begin(), ground.end(),
                                       [](const KxfrMapPoint& p) { return !std::isnan(p.x); });
    return static_cast<double>(covered) / static_cast<double>(ground.size());
}

void MapPositions::find(const MapFrame& frame, const Window& part,
                        std::vector<KxfrPixel>& pixels) const {
    const kimg::MapBlock block{frame.left + (part.x + 0.5) * frame.step,
                               frame.top - (part.y + 0.5) * frame.step,
                               frame.step,
                               -frame.step,
                               part.width,
                               part.height};
    find(block, frame.reduction, pixels);
}

/// Over terrain every position is computed; at a constant height image positions are a smooth
/// function of map positions.
void MapPositions::find(const kimg::MapBlock& block, double reduction,
                        std::vector<KxfrPixel>& pixels) const {
    pixels.resize(std::size_t{block.columns} * block.lines);
    std::vector<KxfrMapPoint>& ground = ground_;
    if (elevation_) {
        ground.resize(pixels.size());
        kerr::Slot slot;
        if (!elevation_->nodesOf(*converter_, block, closePixels, ground, slot))
            throw loader::Error(loader::Heard::text(*slot.get()));
        locator_.toImage(ground, pixels);
        return;
    }
    const double tolerance = closePixels * reduction;
    std::vector<KxfrPixel> exact;
    const kxfr::SmoothGrid<2> found(
        block.columns, block.lines, {tolerance, tolerance},
        [&](auto places, std::span<std::array<double, 2>> values) {
            ground.resize(places.size());
            exact.resize(places.size());
            for (std::size_t i = 0; i < places.size(); ++i)
                ground[i] = {block.left + places[i].column * block.stepX,
                             block.top + places[i].line * block.stepY, locator_.sceneHeightM()};
            converter_->toGeographic(&ground[0].x, &ground[0].y, sizeof ground[0], ground.size());
            locator_.toImage(ground, exact);
            for (std::size_t i = 0; i < places.size(); ++i)
                values[i] = {exact[i].sample, exact[i].line};
        });
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = {found[0][i], found[1][i]};
}

} // namespace product
