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

/// A node, or a place between nodes, in the image and in space.
struct TerrainAreas::Node {
    double x, y; ///< pixel (i, j) covers [i, i + 1) x [j, j + 1); NaN where nothing is seen
    double heightM;
    Vec3 point;
    Vec3 sight;      ///< unit vector to the antenna
    double distance; ///< outwards, in steps of the horizon
    double look;

    Horizon::Point horizonPoint() const { return {y, distance, look}; }
};

struct TerrainAreas::Facing {
    double top = 0, bottom = 0;
    Vec3 normal;     ///< its length is the area
    double turn = 0; ///< the grid's own sense of turning
    double gamma = 0;
    bool inStrip = false; ///< otherwise the rest may be missing
};

/// A square of cells, so that neighbours come one after the other: the image's lines lie far apart
/// in memory. Always the same squares of the terrain, and the same order within: a pixel's sum
/// rounds alike in every strip.
class TerrainAreas::Tile {
public:
    static constexpr int cells = 32;

    /// Columns of a row from 0 to `cells`, counted from the tile's own first.
    NodeSpan& span(int row) { return spans_[index(row)]; }
    Node& node(int row, int column) { return nodes_[index(row * (cells + 1) + column)]; }
    /// Columns of the cells between a row and the next.
    NodeSpan cellsBelow(int row) {
        return {std::max(span(row).first, span(row + 1).first),
                std::min(span(row).end, span(row + 1).end) - 1};
    }
    /// What both triangles of a cell are drawn with. Rows and columns from -1 to `cells`; nothing
    /// is ever drawn around the tile.
    PixelGround& upper(int row, int column) { return upper_[facet(row, column)]; }
    PixelGround& lower(int row, int column) { return lower_[facet(row, column)]; }

    std::array<sarm::GroundPosition, cells + 1> ground; // of a row: for the calls that take many
    std::array<sarm::ImagePosition, cells + 1> image;
    std::array<Vec3, cells + 1> space;

private:
    static std::size_t index(int i) { return static_cast<std::size_t>(i); }
    static std::size_t facet(int row, int column) {
        return index((row + 1) * (cells + 2) + column + 1);
    }

    std::array<NodeSpan, cells + 1> spans_;
    std::array<Node, (cells + 1) * (cells + 1)> nodes_;
    std::array<PixelGround, (cells + 2) * (cells + 2)> upper_, lower_;
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
    // Where no ground is turned away from the antenna, nothing lies in shadow: then drawing is all.
    // It is a likely case, unless the strip before was another.
    const std::uint64_t cellsBefore = cells_;
    bool drawn = false;
    if (!shadows_) {
        draw(false);
        drawn = !horizon_.asked();
    }
    if (!drawn) {
        cells_ = cellsBefore;
        raise();
        shadows_ = horizon_.asked();
        buffer_.start(firstLine, lines);
        draw(shadows_);
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
bool TerrainAreas::fetch(int tileRow, int tileColumn, bool withLooks) {
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
            if (!withLooks)
                continue;
            node.distance =
                (distanceOf(node.point, node.heightM, view.outwards) - startOfHorizonM_) *
                stepsPerM_;
            node.look = -dot(node.sight, view.up);
        }
    }
    return true;
}

template <typename Take>
void TerrainAreas::eachTile(bool withLooks, const Take& take) {
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
            if (fetch(tileRow, tileColumn, withLooks))
                take(*tile_);
    }
}

/// What hides what, and in which lines.
void TerrainAreas::raise() {
    const auto add = [&](const Node& a, const Node& b) {
        if (std::isfinite(a.x + a.y + b.x + b.y))
            horizon_.add(a.horizonPoint(), b.horizonPoint());
    };
    eachTile(true, [&](Tile& tile) {
        for (int row = 0; row < Tile::cells; ++row) {
            const NodeSpan cells = tile.cellsBelow(row);
            for (int column = cells.first; column < cells.end; ++column) {
                const Node &a = tile.node(row, column), &b = tile.node(row, column + 1);
                const Node &c = tile.node(row + 1, column), &d = tile.node(row + 1, column + 1);
                facing(a, b, c);
                facing(b, d, c);
                // The other two belong to the cells beside and below.
                add(a, b);
                add(a, c);
                add(b, c);
            }
        }
    });
    horizon_.close();
}

/// A triangle of the terrain, seen from the antenna. Asks for shadows when it is turned away.
TerrainAreas::Facing TerrainAreas::facing(const Node& a, const Node& b, const Node& c) {
    Facing facing;
    facing.top = least(a.y, b.y, c.y);
    facing.bottom = most(a.y, b.y, c.y);
    const double left = least(a.x, b.x, c.x), right = most(a.x, b.x, c.x);
    const int firstLine = buffer_.firstLine(), endLine = firstLine + buffer_.lines();
    const bool beyond = farIsRight_ ? left >= size_.samples : right <= 0;
    // Whatever is not a number fails one of these.
    if (!(facing.bottom > firstLine - margin_ && facing.top < endLine + margin_ && !beyond &&
          std::isfinite(left + right + facing.top + facing.bottom)))
        return facing;
    facing.normal = 0.5 * cross(b.point - a.point, c.point - a.point);
    facing.turn = dot(facing.normal, a.point) < 0 ? -1 : 1;
    // The mean of three lines of sight is the centre's to 1e-9.
    facing.gamma = facing.turn / 3 * dot(facing.normal, a.sight + b.sight + c.sight);
    if (!(facing.gamma > 0))
        horizon_.ask(facing.top, facing.bottom);
    facing.inStrip =
        right > 0 && left < size_.samples && facing.bottom > firstLine && facing.top < endLine;
    return facing;
}

/// What a triangle is drawn with, in light.
PixelGround TerrainAreas::densityOf(const Node& a, const Node& b, const Node& c) {
    const Facing facet = facing(a, b, c);
    if (!facet.inStrip)
        return {};
    const double area = imageArea(a.x, a.y, b.x, b.y, c.x, c.y);
    const bool lit = facet.gamma > 0;
    constexpr double leastArea = 1e-8;   // of a pixel
    if (!(std::abs(area) > leastArea)) { // seen edge on: all in one pixel
        if (lit)
            buffer_.addTo(floorOf((a.x + b.x + c.x) / 3), floorOf((a.y + b.y + c.y) / 3),
                          PixelGround(facet.gamma, norm(facet.normal)));
        return {};
    }
    const float sign = area > 0 ? 1 : -1;
    const auto sense = static_cast<float>(facet.turn * upright_);
    const float height = sense * static_cast<float>((a.heightM + b.heightM + c.heightM) / 3);
    if (!lit)
        return {0, 0, PixelGround::Parts{0, 0, sense, height}};
    const bool isUpright = sign == sense;
    const double perArea = 1 / area;
    return {facet.gamma * perArea, norm(facet.normal) * perArea,
            PixelGround::Parts{isUpright ? sign : 0, isUpright ? 0 : sign, 0, height}};
}

/// Takes the light from the part of a triangle that is in shadow, by halves down to half a pixel.
/// @return true when all of it is, and nothing was done.
bool TerrainAreas::darken(const Node& a, const Node& b, const Node& c, const PixelGround& change,
                          int depth) {
    const auto middle = [](const Node& p, const Node& q) {
        Node node;
        node.x = (p.x + q.x) / 2;
        node.y = (p.y + q.y) / 2;
        node.distance = (p.distance + q.distance) / 2;
        node.look = (p.look + q.look) / 2;
        return node;
    };
    const Node ab = middle(a, b), bc = middle(b, c), ca = middle(c, a);
    Horizon::Point centre = a.horizonPoint();
    for (const Node* other : {&b, &c}) {
        const Horizon::Point point = other->horizonPoint();
        centre = {centre.y + point.y, centre.distance + point.distance, centre.look + point.look};
    }
    const bool dark = horizon_.hides({centre.y / 3, centre.distance / 3, centre.look / 3});
    const double width = most(a.x, b.x, c.x) - least(a.x, b.x, c.x);
    const double height = most(a.y, b.y, c.y) - least(a.y, b.y, c.y);
    constexpr int deepest = 8;
    const bool small = std::max(width, height) <= 0.5 || depth == deepest;
    const auto hidden = [&](const Node& node) { return horizon_.hides(node.horizonPoint()); };
    const bool whole = dark == hidden(a) && dark == hidden(b) && dark == hidden(c) &&
                       dark == hidden(ab) && dark == hidden(bc) && dark == hidden(ca);
    if (whole || small)
        return dark;
    const auto part = [&](const Node& p, const Node& q, const Node& r) {
        if (!darken(p, q, r, change, depth + 1))
            return;
        buffer_.addEdge(change, p.x, p.y, q.x, q.y);
        buffer_.addEdge(change, q.x, q.y, r.x, r.y);
        buffer_.addEdge(change, r.x, r.y, p.x, p.y);
    };
    part(a, ab, ca);
    part(ab, b, bc);
    part(ca, bc, c);
    part(ab, bc, ca);
    return false;
}

/// Where a triangle lies in shadow.
void TerrainAreas::shade(PixelGround& density, const Node& a, const Node& b, const Node& c) {
    if (density.sigmaM2() == 0 || !horizon_.mayHide(least(a.y, b.y, c.y), most(a.y, b.y, c.y),
                                                    least(a.distance, b.distance, c.distance),
                                                    most(a.distance, b.distance, c.distance)))
        return;
    const float cover = density.parts[0] - density.parts[1];
    const PixelGround dark(0, 0, PixelGround::Parts{0, 0, cover, density.parts[3]});
    if (darken(a, b, c, dark - density, 0))
        density = dark;
}

void TerrainAreas::findDensities(Tile& tile, int row, bool withShadows) {
    const NodeSpan cells = tile.cellsBelow(row);
    for (int column = 0; column < Tile::cells; ++column) {
        PixelGround &upper = tile.upper(row, column), &lower = tile.lower(row, column);
        upper = lower = {};
        if (column < cells.first || column >= cells.end)
            continue;
        const Node &a = tile.node(row, column), &b = tile.node(row, column + 1);
        const Node &c = tile.node(row + 1, column), &d = tile.node(row + 1, column + 1);
        upper = densityOf(a, b, c);
        lower = densityOf(b, d, c);
        if (!withShadows)
            continue;
        shade(upper, a, b, c);
        shade(lower, b, d, c);
    }
    cells_ += static_cast<std::uint64_t>(std::max(cells.end - cells.first, 0));
}

void TerrainAreas::draw(bool withShadows) {
    const auto addEdge = [&](const PixelGround& one, const PixelGround& other, const Node& a,
                             const Node& b) {
        if (isDrawn(one) || isDrawn(other))
            buffer_.addEdge(one - other, a.x, a.y, b.x, b.y);
    };
    eachTile(withShadows, [&](Tile& tile) {
        for (int row = 0; row < Tile::cells; ++row)
            findDensities(tile, row, withShadows);
        // Every edge once, with the difference of the triangles on its two sides; those between
        // two tiles once for each.
        for (int row = 0; row <= Tile::cells; ++row)
            for (int column = 0; column <= Tile::cells; ++column) {
                const PixelGround& upper = tile.upper(row, column);
                const Node& a = tile.node(row, column);
                if (column < Tile::cells)
                    addEdge(upper, tile.lower(row - 1, column), a, tile.node(row, column + 1));
                if (row == Tile::cells)
                    continue;
                const Node& c = tile.node(row + 1, column);
                addEdge(tile.lower(row, column - 1), upper, a, c);
                if (column < Tile::cells)
                    addEdge(upper, tile.lower(row, column), tile.node(row, column + 1), c);
            }
    });
}

} // namespace sart
