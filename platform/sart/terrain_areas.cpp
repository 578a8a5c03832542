// SPDX-License-Identifier: MIT
#include "sart/terrain_areas.h"

#include "rf_constants.h"
#include "sart/terrain_tile.h"
#include "sart/whole_numbers.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <span>
#include <stdexcept>

namespace sart {

using sarm::Vec3;

namespace {

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
    // Sensor models have no answers farther off than half the image's duration.
    const double farthest = 0.4 * (size_.lines - 1);
    ImagePart part{0, std::max(double(top), 0.5 - farthest), double(size_.samples),
                   std::min(double(top + together), size_.lines - 0.5 + farthest)};
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

} // namespace sart
