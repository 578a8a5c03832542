#include "product/place/map_frame.h"

#include "loader/heard.h"

#include <algorithm>
#include <cmath>
#include <functional>
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

using Point = MapPoint;
using Points = std::vector<Point>;
/// What is to be known of pixels of a map.
using Exact = std::function<Points(const Points& mapPixels)>;

Points allOf(const Window& part) {
    Points all;
    all.reserve(std::size_t{part.width} * part.height);
    for (std::uint32_t y = 0; y < part.height; ++y)
        for (std::uint32_t x = 0; x < part.width; ++x)
            all.push_back({double(part.x) + x, double(part.y) + y});
    return all;
}

/// Bilinear between the corners of square cells, which are exact.
class Cells {
public:
    Cells(const Window& part, std::uint32_t side, const Exact& exact)
        : part_(part), side_(side), columns_((part.width + side - 1) / side),
          rows_((part.height + side - 1) / side), exact_(exact), known_(exact(nodes())) {}

    /// @return whether the cells' centres are where their corners have them.
    bool good(double tolerance) const {
        const Point* centre = known_.data() + (columns_ + 1) * (rows_ + 1);
        for (std::uint32_t row = 0; row < rows_; ++row)
            for (std::uint32_t column = 0; column < columns_; ++column, ++centre) {
                const Point mean = between(corners(row, column), 0.5, 0.5);
                if (std::abs(mean.x - centre->x) > tolerance ||
                    std::abs(mean.y - centre->y) > tolerance)
                    return false;
            }
        return true;
    }

    /// Cells with an unknown corner are exact throughout.
    void fill(Points& found) const {
        for (std::uint32_t row = 0; row < rows_; ++row)
            for (std::uint32_t column = 0; column < columns_; ++column) {
                const std::uint32_t x = column * side_, y = row * side_;
                const Window cell{x, y, std::min(side_, part_.width - x),
                                  std::min(side_, part_.height - y)};
                const Corners of = corners(row, column);
                if (std::isnan(between(of, 0.5, 0.5).x))
                    fillExactly(cell, found);
                else
                    fillBetween(of, cell, found);
            }
    }

private:
    /// The cells' corners, row by row, then their centres.
    Points nodes() const {
        Points all;
        for (std::uint32_t row = 0; row <= rows_; ++row)
            for (std::uint32_t column = 0; column <= columns_; ++column)
                all.push_back({double(part_.x) + column * side_, double(part_.y) + row * side_});
        for (std::uint32_t row = 0; row < rows_; ++row)
            for (std::uint32_t column = 0; column < columns_; ++column)
                all.push_back({part_.x + (column + 0.5) * side_, part_.y + (row + 0.5) * side_});
        return all;
    }

    struct Corners {
        const Point *above, *below; ///< two each
    };
    Corners corners(std::uint32_t row, std::uint32_t column) const {
        const Point* above = &known_[row * (columns_ + 1) + column];
        return {above, above + columns_ + 1};
    }

    static Point between(const Point& a, const Point& b, double part) {
        return {a.x + part * (b.x - a.x), a.y + part * (b.y - a.y)};
    }
    static Point between(const Corners& of, double across, double down) {
        return between(between(of.above[0], of.below[0], down),
                       between(of.above[1], of.below[1], down), across);
    }

    void fillBetween(const Corners& of, const Window& cell, Points& found) const {
        for (std::uint32_t y = 0; y < cell.height; ++y) {
            const Point first = between(of, 0, double(y) / side_);
            const Point last = between(of, 1, double(y) / side_);
            const Point step{(last.x - first.x) / side_, (last.y - first.y) / side_};
            Point* to = &found[std::size_t{cell.y + y} * part_.width + cell.x];
            for (std::uint32_t x = 0; x < cell.width; ++x)
                to[x] = {first.x + x * step.x, first.y + x * step.y};
        }
    }

    void fillExactly(const Window& cell, Points& found) const {
        const Points values =
            exact_(allOf({part_.x + cell.x, part_.y + cell.y, cell.width, cell.height}));
        for (std::uint32_t y = 0; y < cell.height; ++y)
            std::copy_n(values.begin() + std::ptrdiff_t{y} * cell.width, cell.width,
                        found.begin() + std::ptrdiff_t{cell.y + y} * part_.width + cell.x);
    }

    Window part_;
    std::uint32_t side_;
    std::size_t columns_, rows_;
    const Exact& exact_;
    Points known_;
};

/// Exact values of a part of a map, or such as are as near as asked.
Points interpolated(const Window& part, double tolerance, const Exact& exact) {
    for (std::uint32_t side = 32; side > 1; side /= 2) {
        const Cells cells(part, side, exact);
        if (!cells.good(tolerance))
            continue;
        Points found(std::size_t{part.width} * part.height);
        cells.fill(found);
        return found;
    }
    return exact(allOf(part));
}

std::string sizeText(double width, double height) {
    return std::to_string(static_cast<long long>(width)) + " x " +
           std::to_string(static_cast<long long>(height));
}

} // namespace

MapPositions::MapPositions(const OpenedProduct& opened, const loader::Layer& layer,
                           const MapRequest& request)
    : layerName_(layer.name()), system_(request.system), width_(layer.width()),
      height_(layer.height()), resolution_(request.resolution), locator_(opened, layer) {
    kerr::Slot slot;
    projection_ =
        required(KprjProjectionPtr(kprj_ProjectionFromText(system_, slot)), system_ + ": ", slot);
    converter_ =
        required(KprjGeographicConverter::create(*projection_, slot), system_ + ": ", slot);
    if (!request.elevation.empty() && locator_.usesHeight())
        elevation_ = required(kimg::ElevationModel::open(request.elevation, slot), "", slot);
}

/// Places that the system cannot hold, told by the way back leading elsewhere, become NaN.
void MapPositions::toMap(const std::vector<KxfrMapPoint>& ground, Points& map) const {
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

/// WGS 84 longitudes and latitudes; longitudes within half a turn of the first.
/// @param mapPixels  from 0 at the centre of the first pixel.
std::vector<MapPoint> MapPositions::groundAt(const MapFrame& frame, const Points& mapPixels) const {
    Points ground;
    ground.reserve(mapPixels.size());
    for (const Point& pixel : mapPixels)
        ground.push_back(
            {frame.left + (pixel.x + 0.5) * frame.step, frame.top - (pixel.y + 0.5) * frame.step});
    converter_->toGeographic(&ground[0].x, &ground[0].y, sizeof ground[0], ground.size());
    for (Point& point : ground)
        point.x = ground[0].x + std::remainder(point.x - ground[0].x, 360.0);
    return ground;
}

std::vector<MapPoint> MapPositions::imageAt(const Points& ground) const {
    std::vector<KxfrMapPoint> points;
    points.reserve(ground.size());
    for (const Point& point : ground) {
        const double turns = std::round(point.x / 360);
        points.push_back({point.x - 360 * turns, point.y, locator_.sceneHeightM()});
    }
    if (elevation_)
        setHeights(points, *elevation_);
    std::vector<KxfrPixel> pixels(points.size());
    locator_.toImage(points, pixels);
    Points found;
    found.reserve(pixels.size());
    for (const KxfrPixel& pixel : pixels)
        found.push_back({pixel.sample, pixel.line});
    return found;
}

void MapPositions::find(const MapFrame& frame, const Window& part,
                        std::vector<KxfrPixel>& pixels) const {
    constexpr double closePixels = 0.01;
    Points found;
    if (elevation_) {
        const double metre =
            projection_->unitSize * (projection_->isGeographic ? projection_->semiMajorAxis : 1);
        constexpr double metresInDegree = 111e3;
        found = imageAt(
            interpolated(part, closePixels * frame.step * metre / metresInDegree,
                         [&](const Points& mapPixels) { return groundAt(frame, mapPixels); }));
    } else {
        found = interpolated(part, closePixels * frame.reduction, [&](const Points& mapPixels) {
            return imageAt(groundAt(frame, mapPixels));
        });
    }
    pixels.clear();
    for (const Point& point : found)
        pixels.push_back({point.x, point.y});
}

} // namespace product
