#include "product/map_frame.h"

#include "loader/heard.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace product {
namespace {

constexpr int outlineSteps = 32;
constexpr double none = std::numeric_limits<double>::quiet_NaN();
constexpr double mostPixelsPerPixel = 64; // of the map to one of the image
constexpr double fewestPixels = 1e6;      // that are never too many

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

std::string sizeText(double width, double height) {
    return std::to_string(static_cast<long long>(width)) + " x " +
           std::to_string(static_cast<long long>(height));
}

} // namespace

MapPositions::MapPositions(const loader::Layer& layer, const MapRequest& request)
    : layerName_(layer.name()), system_(request.system), width_(layer.width()),
      height_(layer.height()), resolution_(request.resolution), locator_(layer) {
    kerr::Slot slot;
    projection_ =
        required(KprjProjectionPtr(kprj_ProjectionFromText(system_, slot)), system_ + ": ", slot);
    converter_ =
        required(KprjGeographicConverter::create(*projection_, slot), system_ + ": ", slot);
    if (!request.elevation.empty() && locator_.usesHeight())
        elevation_ = required(kimg::ElevationModel::open(request.elevation, slot), "", slot);
}

/// Places that the system cannot hold, told by the way back leading elsewhere, become NaN.
void MapPositions::toMap(std::vector<KxfrMapPoint>& ground, Points& map) const {
    map.clear();
    for (const KxfrMapPoint& point : ground)
        map.push_back({point.x, point.y});
    converter_->fromGeographic(&map[0].x, &map[0].y, sizeof map[0], map.size());
    Points back = map;
    converter_->toGeographic(&back[0].x, &back[0].y, sizeof back[0], back.size());
    constexpr double closeDeg = 1e-5;
    for (std::size_t i = 0; i < map.size(); ++i) {
        const double turn = std::cos(ground[i].y * 0.017453292519943295);
        const double east = std::remainder(back[i].x - ground[i].x, 360.0) * turn;
        if (!(std::abs(east) < closeDeg && std::abs(back[i].y - ground[i].y) < closeDeg))
            map[i] = {none, none};
    }
}

/// A grid over the whole image, so that a pole inside is seen.
MapPositions::Points MapPositions::outline(double heightM) const {
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

/// The heights between which the terrain lies, as far as a grid of samples tells.
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

/// The side of a square on the map as large as a pixel at the image's centre.
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
    if (width > longestSide || height > longestSide || (resolution_ == 0 && width * height > most))
        throw loader::Error("layer " + layerName_ + ": in " + system_ + " the map would have " +
                            sizeText(width, height) + " pixels for an image of " +
                            sizeText(width_, height_) +
                            "; choose another system, or a coarser --resolution");
    frame.width = static_cast<std::uint32_t>(width);
    frame.height = static_cast<std::uint32_t>(height);
    return frame;
}

/// @param mapPixels  from 0 at the centre of the first pixel.
std::vector<KxfrPixel> MapPositions::exact(const MapFrame& frame, const Points& mapPixels) const {
    std::vector<KxfrMapPoint> ground;
    ground.reserve(mapPixels.size());
    for (const Point& pixel : mapPixels)
        ground.push_back({frame.left + (pixel.x + 0.5) * frame.step,
                          frame.top - (pixel.y + 0.5) * frame.step, locator_.sceneHeightM()});
    converter_->toGeographic(&ground[0].x, &ground[0].y, sizeof ground[0], ground.size());
    for (KxfrMapPoint& point : ground)
        point.x = std::remainder(point.x, 360.0);
    if (elevation_)
        setHeights(ground, *elevation_);
    std::vector<KxfrPixel> pixels(ground.size());
    locator_.toImage(ground, pixels);
    return pixels;
}

/// Exact at every stride-th line and column, between them bilinear; cells with an unknown corner
/// are exact throughout.
/// @return whether the cells' centres are as near to the truth as asked.
bool MapPositions::interpolate(const MapFrame& frame, const Window& part, std::uint32_t stride,
                               std::vector<KxfrPixel>& pixels) const {
    const std::uint32_t columns = (part.width + stride - 1) / stride;
    const std::uint32_t rows = (part.height + stride - 1) / stride;
    Points nodes;
    for (std::uint32_t row = 0; row <= rows; ++row)
        for (std::uint32_t column = 0; column <= columns; ++column)
            nodes.push_back({double(part.x) + column * stride, double(part.y) + row * stride});
    const std::size_t centresFrom = nodes.size();
    for (std::uint32_t row = 0; row < rows; ++row)
        for (std::uint32_t column = 0; column < columns; ++column)
            nodes.push_back({part.x + (column + 0.5) * stride, part.y + (row + 0.5) * stride});
    const std::vector<KxfrPixel> known = exact(frame, nodes);
    const double tolerance = (elevation_ ? 0.1 : 0.01) * frame.reduction;
    for (std::uint32_t row = 0; row < rows; ++row)
        for (std::uint32_t column = 0; column < columns; ++column) {
            const KxfrPixel* above = &known[row * std::size_t{columns + 1} + column];
            const KxfrPixel* below = above + columns + 1;
            const KxfrPixel& centre = known[centresFrom + row * std::size_t{columns} + column];
            const auto mean = [&](double KxfrPixel::*of) {
                return (above[0].*of + above[1].*of + below[0].*of + below[1].*of) / 4;
            };
            if (std::abs(mean(&KxfrPixel::sample) - centre.sample) > tolerance ||
                std::abs(mean(&KxfrPixel::line) - centre.line) > tolerance)
                return false;
            const std::uint32_t left = column * stride, top = row * stride;
            const std::uint32_t right = std::min(left + stride, part.width);
            const std::uint32_t bottom = std::min(top + stride, part.height);
            if (std::isnan(mean(&KxfrPixel::sample))) {
                Points inside;
                for (std::uint32_t y = top; y < bottom; ++y)
                    for (std::uint32_t x = left; x < right; ++x)
                        inside.push_back({double(part.x) + x, double(part.y) + y});
                const auto found = exact(frame, inside);
                for (std::uint32_t y = top; y < bottom; ++y)
                    std::copy_n(found.begin() + std::ptrdiff_t{y - top} * (right - left),
                                right - left,
                                pixels.begin() + std::ptrdiff_t{y} * part.width + left);
                continue;
            }
            for (std::uint32_t y = top; y < bottom; ++y) {
                const double v = double(y - top) / stride;
                const double sample = above[0].sample + v * (below[0].sample - above[0].sample);
                const double line = above[0].line + v * (below[0].line - above[0].line);
                const double samples =
                    (above[1].sample + v * (below[1].sample - above[1].sample) - sample) / stride;
                const double lines =
                    (above[1].line + v * (below[1].line - above[1].line) - line) / stride;
                KxfrPixel* to = &pixels[std::size_t{y} * part.width];
                for (std::uint32_t x = left; x < right; ++x)
                    to[x] = {sample + (x - left) * samples, line + (x - left) * lines};
            }
        }
    return true;
}

void MapPositions::find(const MapFrame& frame, const Window& part,
                        std::vector<KxfrPixel>& pixels) const {
    pixels.resize(std::size_t{part.width} * part.height);
    for (std::uint32_t stride = elevation_ ? 8 : 32; stride > 1; stride /= 2)
        if (interpolate(frame, part, stride, pixels))
            return;
    Points all;
    all.reserve(pixels.size());
    for (std::uint32_t y = 0; y < part.height; ++y)
        for (std::uint32_t x = 0; x < part.width; ++x)
            all.push_back({double(part.x) + x, double(part.y) + y});
    pixels = exact(frame, all);
}

} // namespace product
