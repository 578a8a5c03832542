// SPDX-License-Identifier: MIT
#include "sart/terrain_areas.h"

#include "rf_constants.h"
#include "sart/whole_numbers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <span>
#include <stdexcept>

namespace sart {

using sarm::Vec3;

/// A node, or a place between nodes, in the image and towards the horizon.
struct TerrainAreas::Place {
    double x, y;     ///< pixel (i, j) covers [i, i + 1) x [j, j + 1); NaN where nothing is seen
    double distance; ///< outwards, in steps of the horizon
    double look;

    Horizon::Point horizonPoint() const { return {y, distance, look}; }
};

struct TerrainAreas::Node : Place {
    double heightM;
    Vec3 point;
    Vec3 sight; ///< unit vector to the antenna
};

/// A triangle of the terrain, seen from the antenna.
struct TerrainAreas::Facing {
    Vec3 normal;     ///< its length is the area
    double turn = 0; ///< the grid's own sense of turning
    double gamma = 0;
    double imageArea = 0;
    bool isAway = false;  ///< turned away from the antenna, in the strip or its margin
    bool inStrip = false; ///< otherwise the rest may be missing

    bool isLit() const { return inStrip && gamma > 0; }
    bool isEdgeOn() const {
        constexpr double leastArea = 1e-8; // of a pixel
        return !(std::abs(imageArea) > leastArea);
    }
};

/// A square of cells, so that neighbours come one after the other: the image's lines lie far apart
/// in memory. Always the same squares of the terrain, and the same order within: a pixel's sum
/// rounds alike in every strip.
class TerrainAreas::Tile {
public:
    static constexpr int cells = 32;

    Horizon::Part part; ///< the nodes that are seen

    /// Columns of a row from 0 to `cells`, counted from the tile's own first.
    NodeSpan& span(int row) { return spans_[index(row)]; }
    Node& node(int row, int column) { return nodes_[index(row * (cells + 1) + column)]; }
    /// Columns of the cells between a row and the next; none around the tile.
    NodeSpan cellsBelow(int row) {
        if (row < 0 || row >= cells)
            return {};
        return {std::max(span(row).first, span(row + 1).first),
                std::min(span(row).end, span(row + 1).end) - 1};
    }

    /// Both triangles of a cell. Rows and columns from -1 to `cells`; nothing is ever drawn around
    /// the tile.
    static std::size_t upper(int row, int column) {
        return 2 * index((row + 1) * (cells + 2) + column + 1);
    }
    static std::size_t lower(int row, int column) { return upper(row, column) + 1; }
    static constexpr std::size_t triangles = 2 * (cells + 2) * (cells + 2);

    std::array<PixelGround, triangles> densities; ///< what triangles are drawn with
    std::array<bool, triangles> isAway;           ///< they are turned away from the antenna
    bool anyAway;

    /// Forgets the triangles of the rows that have cells, and around them.
    void clear() {
        const auto isEmpty = [&](int row) { return cellsBelow(row).end <= cellsBelow(row).first; };
        for (int row = -1; row <= cells; ++row) {
            if (isEmpty(row - 1) && isEmpty(row) && isEmpty(row + 1))
                continue;
            const auto from = static_cast<std::ptrdiff_t>(upper(row, -1));
            std::fill_n(densities.begin() + from, 2 * (cells + 2), PixelGround{});
            std::fill_n(isAway.begin() + from, 2 * (cells + 2), false);
        }
        anyAway = false;
    }

    /// Calls take(triangle, a, b, c) for both triangles of every cell.
    template <typename Take>
    void eachTriangle(const Take& take) {
        for (int row = 0; row < cells; ++row) {
            const NodeSpan span = cellsBelow(row);
            for (int column = span.first; column < span.end; ++column) {
                const Node &a = node(row, column), &b = node(row, column + 1);
                const Node &c = node(row + 1, column), &d = node(row + 1, column + 1);
                take(upper(row, column), a, b, c);
                take(lower(row, column), b, d, c);
            }
        }
    }

    /// Calls take(one, other, a, b) for every edge, from a to b, between two triangles. Edges
    /// between two tiles come once for each, with a triangle around the tile.
    template <typename Take>
    void eachEdge(const Take& take) {
        for (int row = 0; row <= cells; ++row) {
            const NodeSpan columns = hull(cellsBelow(row - 1), cellsBelow(row));
            for (int column = columns.first; column <= columns.end; ++column) {
                const Node& a = node(row, column);
                if (column < cells)
                    take(upper(row, column), lower(row - 1, column), a, node(row, column + 1));
                if (row == cells)
                    continue;
                const Node& c = node(row + 1, column);
                take(lower(row, column - 1), upper(row, column), a, c);
                if (column < cells)
                    take(upper(row, column), lower(row, column), node(row, column + 1), c);
            }
        }
    }

    std::array<sarm::GroundPosition, cells + 1> ground; // of a row: for the calls that take many
    std::array<sarm::ImagePosition, cells + 1> image;
    std::array<Vec3, cells + 1> space;

private:
    /// From the first of both to the last; nothing, with end before first, of nothing.
    static NodeSpan hull(const NodeSpan& a, const NodeSpan& b) {
        if (a.end <= a.first || b.end <= b.first)
            return a.end > a.first ? a : b.end > b.first ? b : NodeSpan{0, -1};
        return {std::min(a.first, b.first), std::max(a.end, b.end)};
    }
    static constexpr std::size_t index(int i) { return static_cast<std::size_t>(i); }

    std::array<NodeSpan, cells + 1> spans_;
    std::array<Node, (cells + 1) * (cells + 1)> nodes_;
};

namespace {

PixelGround operator-(const PixelGround& a, const PixelGround& b) {
    PixelGround difference;
    difference.areas = a.areas - b.areas;
    difference.parts = a.parts - b.parts;
    return difference;
}

bool isDrawn(const PixelGround& density) {
    return density.areas[1] != 0 || density.parts[2] != 0;
}

double least(double a, double b, double c) {
    return std::min(std::min(a, b), c);
}

double most(double a, double b, double c) {
    return std::max(std::max(a, b), c);
}

/// Sizes around the middle of an image.
struct Middle {
    Middle(const sarm::SensorModel& model, double heightM) {
        const auto at = model.centre();
        const auto ground = [&](double sample, double line) {
            const auto found = model.imageToGround({sample, line}, heightM);
            if (!found)
                throw std::runtime_error("the middle of the image does not meet the ground");
            return *found;
        };
        const auto point = [&](double sample, double line) {
            return sarm::toEarthFixed(ground(sample, line), model.ellipsoid());
        };
        const Vec3 here = point(at.sample, at.line), next = point(at.sample + 1, at.line),
                   below = point(at.sample, at.line + 1);
        const Vec3 antenna = model.antennaAt(at.line);
        const double rangeStep = norm(next - antenna) - norm(here - antenna);
        samplesPerRangeM = 1 / std::abs(rangeStep);
        farIsRight = rangeStep > 0;
        sampleM = norm(next - here);
        lineM = norm(below - here);
        const auto incidence = model.incidenceDeg(at, heightM);
        if (!incidence)
            throw std::runtime_error("the middle of the image has no incidence angle");
        cosIncidence = std::cos(*incidence * constants::radiansPerDegree);
        const Vec3 flight = model.antennaAt(at.line + 1) - antenna;
        side = dot(here, cross(flight, antenna)) < 0 ? -1 : 1;
        // From above, a step along the samples and then one along the lines turn left.
        leftTurn = dot(cross(next - here, below - here), here) > 0 ? 1 : -1;
    }

    double samplesPerRangeM, sampleM, lineM, cosIncidence, side, leftTurn;
    bool farIsRight;
};

/// Image area of a triangle; positive where it adds to what lies right of its down-running side.
double imageArea(double ax, double ay, double bx, double by, double cx, double cy) {
    return 0.5 * ((cx - ax) * (by - ay) - (bx - ax) * (cy - ay));
}

Vec3 unit(const Vec3& v) {
    return (1 / norm(v)) * v;
}

/// Outwards from below the antenna to a point, m on the ground, about. It grows along the ground of
/// a line, also up and down cliffs; that is all a horizon needs.
double distanceOf(const Vec3& point, double heightM, const Vec3& outwards) {
    return dot(point, outwards) * (1 - heightM / constants::wgs84SemiMajorAxisM);
}

} // namespace

TerrainAreas::TerrainAreas(const sarm::SensorModel& model, const TerrainGrid& terrain)
    : model_(model), terrain_(terrain), size_(model.imageSize()), buffer_(size_.samples),
      tile_(std::make_unique<Tile>()) {
    const HeightRange heights = terrain.heights();
    const double heightM = std::clamp(model.terrainHeightM(), heights.lowestM, heights.highestM);
    const Middle middle(model, heightM);
    farIsRight_ = middle.farIsRight;
    side_ = middle.side;
    upright_ = -middle.leftTurn; // imageArea counts the other way round
    const double cellM = terrain.spacingM() * std::numbers::sqrt2;
    margin_ = static_cast<int>(std::ceil(1.5 * cellM / middle.lineM)) + 2;
    constexpr double longestShadowM = 20000; // along the line of sight
    const double reliefM = heights.highestM - heights.lowestM;
    before_ = middle.samplesPerRangeM * std::min(reliefM / middle.cosIncidence, longestShadowM);
    stepsPerM_ = 2 / std::max(terrain.spacingM(), middle.sampleM);
    // The image's distances: the antenna's height above the ground changes along the track.
    constexpr int places = 8;
    double nearest = std::numeric_limits<double>::infinity(), farthest = -nearest;
    for (int i = 0; i <= places; ++i) {
        const int line = (size_.lines - 1) * i / places;
        const Vec3 outwards = viewAt(line).outwards;
        for (const double sample : {-0.5, size_.samples - 0.5})
            if (const auto ground = model.imageToGround({sample, double(line)}, heightM)) {
                const double distance = distanceOf(sarm::toEarthFixed(*ground, model.ellipsoid()),
                                                   ground->heightM, outwards);
                nearest = std::min(nearest, distance);
                farthest = std::max(farthest, distance);
            }
    }
    const double shiftM = reliefM * middle.cosIncidence * middle.samplesPerRangeM * middle.sampleM;
    startOfHorizonM_ = nearest - before_ * middle.sampleM - shiftM;
    stepsOfHorizon_ = static_cast<int>((farthest + shiftM - startOfHorizonM_) * stepsPerM_) + 2;
}

TerrainAreas::~TerrainAreas() = default;

std::size_t TerrainAreas::bytesOf(int lines) const {
    return static_cast<std::size_t>(lines) * AreaBuffer::bytesPerLine(size_.samples) +
           static_cast<std::size_t>(lines + 2 * margin_) * Horizon::bytesPerLine(stepsOfHorizon_) +
           sizeof(Tile);
}

void TerrainAreas::project(int firstLine, int lines) {
    const int top = firstLine - margin_, together = lines + 2 * margin_;
    views_.clear();
    for (int line = top; line < top + together; ++line)
        views_.push_back(viewAt(line));
    ImagePart part{0, double(top), double(size_.samples), double(top + together)};
    (farIsRight_ ? part.left : part.right) += farIsRight_ ? -before_ : before_;
    nodes_ = nodesUnder(model_, terrain_, part);
    buffer_.start(firstLine, lines);
    horizon_.start(top, together, stepsOfHorizon_);
    // First all in light. Then, where something hides the light, the tiles that may be hidden.
    struct Drawn {
        int row, column;
        Horizon::Part part;
    };
    std::vector<Drawn> drawn;
    eachTile([&](int row, int column) {
        if (!fetch(row, column))
            return;
        draw();
        raise();
        drawn.push_back({row, column, tile_->part});
    });
    if (horizon_.close())
        for (const Drawn& tile : drawn)
            if (horizon_.mayHide(tile.part)) {
                fetch(tile.row, tile.column);
                shade();
            }
    buffer_.sum();
}

TerrainAreas::View TerrainAreas::viewAt(int line) const {
    const Vec3 antenna = model_.antennaAt(line);
    const Vec3 flight = model_.antennaAt(line + 0.5) - model_.antennaAt(line - 0.5);
    return {antenna, unit(antenna), side_ * unit(cross(flight, antenna))};
}

TerrainAreas::View TerrainAreas::viewAt(double y) const {
    const double place = y - 0.5 - (buffer_.firstLine() - margin_);
    const double last = static_cast<double>(views_.size()) - 2;
    const auto index = static_cast<std::size_t>(std::clamp(place, 0.0, last));
    const View &one = views_[index], &next = views_[index + 1];
    const double part = place - static_cast<double>(index);
    const auto between = [&](const Vec3& a, const Vec3& b) { return a + part * (b - a); };
    return {between(one.antenna, next.antenna), between(one.up, next.up),
            between(one.outwards, next.outwards)};
}

/// @return false when the strip has no cell in the tile.
bool TerrainAreas::fetch(int tileRow, int tileColumn) {
    const int firstRow = tileRow * Tile::cells, firstColumn = tileColumn * Tile::cells;
    for (int row = 0; row <= Tile::cells; ++row) {
        const int index = firstRow + row - nodes_.firstRow;
        const bool has = index >= 0 && index < static_cast<int>(nodes_.rows.size());
        const NodeSpan span = has ? nodes_.rows[static_cast<std::size_t>(index)] : NodeSpan{};
        tile_->span(row) = {std::max(span.first - firstColumn, 0),
                            std::min(span.end - firstColumn, Tile::cells + 1)};
    }
    bool any = false;
    for (int row = 0; row < Tile::cells; ++row)
        any = any || tile_->cellsBelow(row).first < tile_->cellsBelow(row).end;
    if (!any)
        return false;
    tile_->part = {};
    for (int row = 0; row <= Tile::cells; ++row) {
        const NodeSpan span = tile_->span(row);
        if (span.end <= span.first)
            continue;
        const auto count = static_cast<std::size_t>(span.end - span.first);
        const std::span ground(tile_->ground.data(), count);
        const std::span image(tile_->image.data(), count);
        const std::span space(tile_->space.data(), count);
        terrain_.nodes(firstRow + row, firstColumn + span.first, ground);
        model_.groundToImage(ground, image, space);
        for (std::size_t i = 0; i < count; ++i) {
            Node& node = tile_->node(row, span.first + static_cast<int>(i));
            node.x = image[i].sample + 0.5;
            node.y = image[i].line + 0.5;
            node.heightM = ground[i].heightM;
            node.point = space[i];
            if (!std::isfinite(node.x + node.y))
                continue; // and so is every triangle with it
            const View view = viewAt(node.y);
            node.sight = unit(view.antenna - node.point);
            node.distance =
                (distanceOf(node.point, node.heightM, view.outwards) - startOfHorizonM_) *
                stepsPerM_;
            node.look = -dot(node.sight, view.up);
            tile_->part.take(node.horizonPoint());
        }
    }
    return true;
}

/// Calls take(tileRow, tileColumn) for every tile that may have a cell of the strip.
template <typename Take>
void TerrainAreas::eachTile(const Take& take) {
    const int endRow = nodes_.firstRow + static_cast<int>(nodes_.rows.size());
    for (int tileRow = nodes_.firstRow / Tile::cells; tileRow * Tile::cells < endRow; ++tileRow) {
        NodeSpan columns{std::numeric_limits<int>::max(), 0};
        for (int row = tileRow * Tile::cells; row <= (tileRow + 1) * Tile::cells; ++row) {
            if (row < nodes_.firstRow || row >= endRow)
                continue;
            const NodeSpan span = nodes_.rows[static_cast<std::size_t>(row - nodes_.firstRow)];
            if (span.end > span.first)
                columns = {std::min(columns.first, span.first), std::max(columns.end, span.end)};
        }
        for (int tileColumn = columns.first / Tile::cells;
             tileColumn * Tile::cells < columns.end - 1; ++tileColumn)
            take(tileRow, tileColumn);
    }
}

TerrainAreas::Facing TerrainAreas::facing(const Node& a, const Node& b, const Node& c) const {
    Facing facing;
    const double top = least(a.y, b.y, c.y), bottom = most(a.y, b.y, c.y);
    const double left = least(a.x, b.x, c.x), right = most(a.x, b.x, c.x);
    const int firstLine = buffer_.firstLine(), endLine = firstLine + buffer_.lines();
    const bool beyond = farIsRight_ ? left >= size_.samples : right <= 0;
    // Whatever is not a number fails one of these.
    if (!(bottom > firstLine - margin_ && top < endLine + margin_ && !beyond &&
          std::isfinite(left + right + top + bottom)))
        return facing;
    facing.normal = 0.5 * cross(b.point - a.point, c.point - a.point);
    facing.turn = dot(facing.normal, a.point) < 0 ? -1 : 1;
    // The mean of three lines of sight is the centre's to 1e-9.
    facing.gamma = facing.turn / 3 * dot(facing.normal, a.sight + b.sight + c.sight);
    facing.isAway = !(facing.gamma > 0);
    facing.inStrip = right > 0 && left < size_.samples && bottom > firstLine && top < endLine;
    if (facing.inStrip)
        facing.imageArea = imageArea(a.x, a.y, b.x, b.y, c.x, c.y);
    return facing;
}

/// What a triangle is drawn with, in light.
PixelGround TerrainAreas::densityOf(const Facing& facet, const Node& a, const Node& b,
                                    const Node& c) const {
    if (!facet.inStrip || facet.isEdgeOn())
        return {};
    const float sign = facet.imageArea > 0 ? 1 : -1;
    const auto sense = static_cast<float>(facet.turn * upright_);
    const float height = sense * static_cast<float>((a.heightM + b.heightM + c.heightM) / 3);
    if (facet.isAway)
        return {0, 0, PixelGround::Parts{0, 0, sense, height}};
    const bool isUpright = sign == sense;
    const double perArea = 1 / facet.imageArea;
    return {facet.gamma * perArea, norm(facet.normal) * perArea,
            PixelGround::Parts{isUpright ? sign : 0, isUpright ? 0 : sign, 0, height}};
}

/// The tile's terrain, in light.
void TerrainAreas::draw() {
    Tile& tile = *tile_;
    tile.clear();
    tile.eachTriangle([&](std::size_t triangle, const Node& a, const Node& b, const Node& c) {
        const Facing facet = facing(a, b, c);
        tile.isAway[triangle] = facet.isAway;
        tile.anyAway = tile.anyAway || facet.isAway;
        tile.densities[triangle] = densityOf(facet, a, b, c);
        if (facet.inStrip && facet.isEdgeOn() && !facet.isAway) // all in one pixel
            buffer_.addTo(floorOf((a.x + b.x + c.x) / 3), floorOf((a.y + b.y + c.y) / 3),
                          PixelGround(facet.gamma, norm(facet.normal)));
    });
    addOutlines();
    for (int row = 0; row < Tile::cells; ++row) {
        const NodeSpan cells = tile.cellsBelow(row);
        cells_ += static_cast<std::uint64_t>(std::max(cells.end - cells.first, 0));
    }
}

/// Every edge once, with the difference of the triangles on its two sides.
void TerrainAreas::addOutlines() {
    Tile& tile = *tile_;
    tile.eachEdge([&](std::size_t one, std::size_t other, const Node& a, const Node& b) {
        const PixelGround &left = tile.densities[one], &right = tile.densities[other];
        if (isDrawn(left) || isDrawn(right))
            buffer_.addEdge(left - right, a.x, a.y, b.x, b.y);
    });
}

/// What the tile may hide: that lies behind the edges from which the ground turns away.
void TerrainAreas::raise() {
    Tile& tile = *tile_;
    if (!tile.anyAway)
        return;
    tile.eachEdge([&](std::size_t one, std::size_t other, const Node& a, const Node& b) {
        if (tile.isAway[one] != tile.isAway[other])
            horizon_.add(a.horizonPoint(), b.horizonPoint());
    });
}

/// Takes the light from what lies in shadow.
void TerrainAreas::shade() {
    Tile& tile = *tile_;
    tile.clear();
    tile.eachTriangle([&](std::size_t triangle, const Node& a, const Node& b, const Node& c) {
        tile.densities[triangle] = changeInShadow(a, b, c);
    });
    addOutlines();
}

/// @return what is added to all of a triangle's density; its part is done if that is in shadow.
PixelGround TerrainAreas::changeInShadow(const Node& a, const Node& b, const Node& c) {
    Horizon::Part part;
    for (const Node* node : {&a, &b, &c})
        part.take(node->horizonPoint());
    const int firstLine = buffer_.firstLine(), endLine = firstLine + buffer_.lines();
    if (!(part.bottom > firstLine && part.top < endLine && std::isfinite(a.x + b.x + c.x) &&
          horizon_.mayHide(part)))
        return {};
    const Facing facet = facing(a, b, c);
    if (facet.isAway)
        return {};
    const PixelGround light = densityOf(facet, a, b, c);
    if (!isDrawn(light))
        return {};
    const float cover = light.parts[0] - light.parts[1];
    const PixelGround dark(0, 0, PixelGround::Parts{0, 0, cover, light.parts[3]});
    return horizon_.hidesAll(part) || darken(a, b, c, dark - light, 0) ? dark - light
                                                                       : PixelGround{};
}

/// Takes the light from the part of a triangle that is in shadow, by halves down to some pixels.
/// @return true when all of it is, and nothing was done.
bool TerrainAreas::darken(const Place& a, const Place& b, const Place& c, const PixelGround& change,
                          int depth) {
    const double width = most(a.x, b.x, c.x) - least(a.x, b.x, c.x);
    const double height = most(a.y, b.y, c.y) - least(a.y, b.y, c.y);
    constexpr int deepest = 8;
    constexpr double straight = 2; // pixels in which a shadow's end is a straight line
    if (std::max(width, height) <= straight || depth == deepest)
        return darkenHalf({a, b, c}, change);
    const auto middle = [](const Place& p, const Place& q) {
        return Place{(p.x + q.x) / 2, (p.y + q.y) / 2, (p.distance + q.distance) / 2,
                     (p.look + q.look) / 2};
    };
    const Place ab = middle(a, b), bc = middle(b, c), ca = middle(c, a);
    Horizon::Point centre = a.horizonPoint();
    for (const Place* other : {&b, &c}) {
        const Horizon::Point point = other->horizonPoint();
        centre = {centre.y + point.y, centre.distance + point.distance, centre.look + point.look};
    }
    const bool dark = horizon_.hides({centre.y / 3, centre.distance / 3, centre.look / 3});
    const auto agrees = [&](const Place& place) {
        return horizon_.hides(place.horizonPoint()) == dark;
    };
    if (agrees(a) && agrees(b) && agrees(c) && agrees(ab) && agrees(bc) && agrees(ca))
        return dark;
    const Triangle parts[] = {{a, ab, ca}, {ab, b, bc}, {ca, bc, c}, {ab, bc, ca}};
    bool isDark[4];
    for (int i = 0; i < 4; ++i)
        isDark[i] = darken(parts[i][0], parts[i][1], parts[i][2], change, depth + 1);
    if (isDark[0] && isDark[1] && isDark[2] && isDark[3])
        return true;
    for (int i = 0; i < 4; ++i)
        for (std::size_t from = 0; isDark[i] && from < 3; ++from) {
            const Place &p = parts[i][from], &q = parts[i][(from + 1) % 3];
            buffer_.addEdge(change, p.x, p.y, q.x, q.y);
        }
    return false;
}

/// As darken, where the shadow ends in a straight line.
bool TerrainAreas::darkenHalf(const Triangle& corners, const PixelGround& change) {
    constexpr double none = -1; // instead of endless: nothing nearer at all
    double excess[3];
    for (std::size_t i = 0; i < 3; ++i)
        excess[i] = std::max(horizon_.excess(corners[i].horizonPoint()), none);
    if (excess[0] > 0 && excess[1] > 0 && excess[2] > 0)
        return true;
    struct Corner {
        double x, y;
    };
    std::array<Corner, 4> dark; // of a side or two that the end crosses
    std::size_t count = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t next = (i + 1) % 3;
        const Place &p = corners[i], &q = corners[next];
        if (excess[i] > 0)
            dark[count++] = {p.x, p.y};
        if ((excess[i] > 0) != (excess[next] > 0)) {
            const double part = excess[i] / (excess[i] - excess[next]);
            dark[count++] = {p.x + part * (q.x - p.x), p.y + part * (q.y - p.y)};
        }
    }
    for (std::size_t i = 0; i < count; ++i) {
        const Corner &p = dark[i], &q = dark[(i + 1) % count];
        buffer_.addEdge(change, p.x, p.y, q.x, q.y);
    }
    return false;
}

} // namespace sart
