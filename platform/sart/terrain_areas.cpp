// SPDX-License-Identifier: MIT
#include "sart/terrain_areas.h"

#include "rf_constants.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>

namespace sart {

using sarm::Vec3;

/// A node, or a place between nodes, in the image and in space.
struct TerrainAreas::Node {
    double x, y; ///< pixel (i, j) covers [i, i + 1) x [j, j + 1); NaN where nothing is seen
    double heightM;
    Vec3 point;
    double referenceX; ///< where the place would be seen at the reference height
    double look;
};

struct TerrainAreas::Row {
    int first = 0;
    std::vector<Node> nodes;
    std::vector<sarm::GroundPosition> ground; // and image: for the calls that take many
    std::vector<sarm::ImagePosition> image;
    std::vector<Vec3> space;

    int end() const { return first + static_cast<int>(nodes.size()); }
    const Node& at(int column) const { return nodes[static_cast<std::size_t>(column - first)]; }
};

struct TerrainAreas::Facet {
    PixelGround density;
    PixelGround darkDensity; ///< instead, where the facet is in shadow
    bool lit = false;        ///< gives area at all; only then it can be darkened
    bool faces = true;       ///< false: turned away from the antenna
};

/// Both triangles of the cells between two rows.
struct TerrainAreas::RowFacets {
    int first = 0;
    std::vector<PixelGround> upper, lower;

    int end() const { return first + static_cast<int>(upper.size()); }
    static PixelGround of(const std::vector<PixelGround>& all, int index) {
        return index >= 0 && index < static_cast<int>(all.size())
                   ? all[static_cast<std::size_t>(index)]
                   : PixelGround{};
    }
    PixelGround upperAt(int column) const { return of(upper, column - first); }
    PixelGround lowerAt(int column) const { return of(lower, column - first); }
};

namespace {

constexpr double none = std::numeric_limits<double>::quiet_NaN();

PixelGround operator-(const PixelGround& a, const PixelGround& b) {
    PixelGround difference;
    difference.areas = a.areas - b.areas;
    difference.parts = a.parts - b.parts;
    return difference;
}

bool isZero(const PixelGround& a) {
    return a.areas[0] == 0 && a.areas[1] == 0 && a.parts[0] == 0 && a.parts[1] == 0 &&
           a.parts[2] == 0 && a.parts[3] == 0;
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
        // From above, a step along the samples and then one along the lines turn left.
        leftTurn = dot(cross(next - here, below - here), here) > 0 ? 1 : -1;
    }

    double samplesPerRangeM, sampleM, lineM, cosIncidence, leftTurn;
    bool farIsRight;
};

/// Image area of a triangle; positive where it adds to what lies right of its down-running side.
double imageArea(double ax, double ay, double bx, double by, double cx, double cy) {
    return 0.5 * ((cx - ax) * (by - ay) - (bx - ax) * (cy - ay));
}

} // namespace

TerrainAreas::TerrainAreas(const sarm::SensorModel& model, const TerrainGrid& terrain)
    : model_(model), terrain_(terrain), size_(model.imageSize()), buffer_(size_.samples) {
    const HeightRange heights = terrain.heights();
    referenceHeightM_ = std::clamp(model.terrainHeightM(), heights.lowestM, heights.highestM);
    const Middle middle(model, referenceHeightM_);
    farIsRight_ = middle.farIsRight;
    upright_ = -middle.leftTurn; // imageArea counts the other way round
    const double cellM = terrain.spacingM() * std::numbers::sqrt2;
    margin_ = static_cast<int>(std::ceil(1.5 * cellM / middle.lineM)) + 2;
    constexpr double longestShadowM = 20000; // along the line of sight
    const double reliefM = heights.highestM - heights.lowestM;
    before_ = middle.samplesPerRangeM * std::min(reliefM / middle.cosIncidence, longestShadowM);
    const double shift = middle.samplesPerRangeM * reliefM * middle.cosIncidence;
    samplesPerStep_ = std::max(0.5, terrain.spacingM() / 2 / middle.sampleM);
    startOfHorizon_ = -before_ - shift;
    stepsOfHorizon_ = static_cast<int>((size_.samples + before_ + 2 * shift) / samplesPerStep_) + 2;
}

std::size_t TerrainAreas::bytesOf(int lines) const {
    return static_cast<std::size_t>(lines) * AreaBuffer::bytesPerLine(size_.samples) +
           static_cast<std::size_t>(lines + 2 * margin_) * Horizon::bytesPerLine(stepsOfHorizon_);
}

void TerrainAreas::project(int firstLine, int lines) {
    const int top = firstLine - margin_, together = lines + 2 * margin_;
    antenna_.clear();
    for (int line = top; line < top + together; ++line)
        antenna_.push_back(model_.antennaAt(line));
    ImagePart part{0, double(top), double(size_.samples), double(top + together)};
    (farIsRight_ ? part.left : part.right) += farIsRight_ ? -before_ : before_;
    nodes_ = nodesUnder(model_, terrain_, part);
    buffer_.start(firstLine, lines);
    horizon_.start(top, together, stepsOfHorizon_);
    // Where no ground is turned away from the antenna, nothing lies in shadow: then one pass does.
    // It is a likely case, unless the strip before was another.
    const bool drawAtOnce = !shadows_;
    pass(drawAtOnce, false);
    shadows_ = horizon_.asked();
    if (shadows_)
        raiseHorizon();
    if (shadows_ || !drawAtOnce) {
        buffer_.start(firstLine, lines);
        pass(true, shadows_);
    }
    buffer_.sum();
}

Vec3 TerrainAreas::antennaAt(double y) const {
    const double place = y - 0.5 - (buffer_.firstLine() - margin_);
    const double last = static_cast<double>(antenna_.size()) - 2;
    const auto index = static_cast<std::size_t>(std::clamp(place, 0.0, last));
    const Vec3& before = antenna_[index];
    return before + (place - static_cast<double>(index)) * (antenna_[index + 1] - before);
}

void TerrainAreas::fetch(int row, Row& nodes, bool withLooks) {
    const NodeSpan span = nodes_.rows[static_cast<std::size_t>(row - nodes_.firstRow)];
    const auto count = static_cast<std::size_t>(std::max(span.end - span.first, 0));
    nodes.first = span.first;
    nodes.nodes.resize(count);
    nodes.ground.resize(count);
    nodes.image.resize(count);
    nodes.space.resize(count);
    if (count == 0)
        return;
    terrain_.nodes(row, span.first, nodes.ground);
    model_.groundToImage(nodes.ground, nodes.image, nodes.space);
    for (std::size_t i = 0; i < count; ++i)
        nodes.nodes[i] = {nodes.image[i].sample + 0.5,
                          nodes.image[i].line + 0.5,
                          nodes.ground[i].heightM,
                          nodes.space[i],
                          none,
                          none};
    if (!withLooks)
        return;
    for (sarm::GroundPosition& place : nodes.ground)
        place.heightM = referenceHeightM_;
    model_.groundToImage(nodes.ground, nodes.image);
    for (std::size_t i = 0; i < count; ++i) {
        Node& node = nodes.nodes[i];
        const Vec3 antenna = antennaAt(node.y), sight = node.point - antenna;
        node.referenceX = nodes.image[i].sample + 0.5;
        node.look = dot(sight, antenna) / (norm(sight) * norm(antenna));
    }
}

Horizon::Point TerrainAreas::horizonPoint(const Node& node) const {
    const double outwards = farIsRight_ ? node.referenceX : size_.samples - node.referenceX;
    return {node.y, (outwards - startOfHorizon_) / samplesPerStep_, node.look};
}

TerrainAreas::Facet TerrainAreas::facetOf(const Node& a, const Node& b, const Node& c) {
    Facet facet;
    const double top = least(a.y, b.y, c.y), bottom = most(a.y, b.y, c.y);
    const double left = least(a.x, b.x, c.x), right = most(a.x, b.x, c.x);
    const double firstLine = buffer_.firstLine() - margin_;
    const double endLine = buffer_.firstLine() + buffer_.lines() + margin_;
    const bool beyond = farIsRight_ ? left >= size_.samples : right <= 0;
    // Whatever is not a number fails one of these.
    if (!(bottom > firstLine && top < endLine && !beyond &&
          std::isfinite(left + right + top + bottom)))
        return facet;
    Vec3 normal = 0.5 * cross(b.point - a.point, c.point - a.point);
    const Vec3 centre = (1.0 / 3) * (a.point + b.point + c.point);
    const double turn = dot(normal, centre) < 0 ? -1 : 1; // the grid's own sense of turning
    const Vec3 sight = antennaAt((a.y + b.y + c.y) / 3) - centre;
    const double sigma = norm(normal);
    const double gamma = turn * dot(normal, sight) / norm(sight);
    facet.faces = gamma > 0;
    if (!facet.faces)
        horizon_.ask(top, bottom);
    if (right <= 0 || left >= size_.samples || bottom <= buffer_.firstLine() ||
        top >= buffer_.firstLine() + buffer_.lines())
        return facet;

    const double area = imageArea(a.x, a.y, b.x, b.y, c.x, c.y);
    constexpr double leastArea = 1e-8;   // of a pixel
    if (!(std::abs(area) > leastArea)) { // seen edge on: all in one pixel
        if (facet.faces)
            buffer_.addTo(static_cast<int>(std::floor((a.x + b.x + c.x) / 3)),
                          static_cast<int>(std::floor((a.y + b.y + c.y) / 3)),
                          PixelGround(gamma, sigma));
        return facet;
    }
    const float sign = area > 0 ? 1 : -1;
    const float sense = static_cast<float>(turn * upright_);
    const float height = sense * static_cast<float>((a.heightM + b.heightM + c.heightM) / 3);
    facet.darkDensity.parts = PixelGround::Parts{0, 0, sense, height};
    facet.density = facet.darkDensity;
    if (!facet.faces)
        return facet;
    const bool isUpright = sign == sense;
    facet.lit = true;
    facet.density =
        PixelGround(gamma / area, sigma / area,
                    PixelGround::Parts{isUpright ? sign : 0, isUpright ? 0 : sign, 0, height});
    return facet;
}

/// Takes the light from the part of a triangle that is in shadow, by halves down to half a pixel.
void TerrainAreas::darken(const Node& a, const Node& b, const Node& c, const PixelGround& change,
                          int depth) {
    const auto middle = [](const Node& p, const Node& q) {
        return Node{(p.x + q.x) / 2,
                    (p.y + q.y) / 2,
                    (p.heightM + q.heightM) / 2,
                    0.5 * (p.point + q.point),
                    (p.referenceX + q.referenceX) / 2,
                    (p.look + q.look) / 2};
    };
    const Node ab = middle(a, b), bc = middle(b, c), ca = middle(c, a);
    Horizon::Point centre = horizonPoint(a);
    for (const Node* other : {&b, &c}) {
        const Horizon::Point point = horizonPoint(*other);
        centre = {centre.y + point.y, centre.distance + point.distance, centre.look + point.look};
    }
    const bool dark = horizon_.hides({centre.y / 3, centre.distance / 3, centre.look / 3});
    const double width = most(a.x, b.x, c.x) - least(a.x, b.x, c.x);
    const double height = most(a.y, b.y, c.y) - least(a.y, b.y, c.y);
    constexpr int deepest = 8;
    const bool small = std::max(width, height) <= 0.5 || depth == deepest;
    const bool whole = dark == hidden(a) && dark == hidden(b) && dark == hidden(c) &&
                       dark == hidden(ab) && dark == hidden(bc) && dark == hidden(ca);
    if (!small && !whole) {
        darken(a, ab, ca, change, depth + 1);
        darken(ab, b, bc, change, depth + 1);
        darken(ca, bc, c, change, depth + 1);
        darken(ab, bc, ca, change, depth + 1);
    } else if (dark) {
        buffer_.addEdge(change, a.x, a.y, b.x, b.y);
        buffer_.addEdge(change, b.x, b.y, c.x, c.y);
        buffer_.addEdge(change, c.x, c.y, a.x, a.y);
    }
}

void TerrainAreas::facetsBetween(const Row& upper, const Row& lower, bool withShadows,
                                 RowFacets& facets) {
    facets.first = std::max(upper.first, lower.first);
    const int end = std::max(std::min(upper.end(), lower.end()) - 1, facets.first);
    const auto count = static_cast<std::size_t>(end - facets.first);
    facets.upper.resize(count);
    facets.lower.resize(count);
    const auto density = [&](const Node& a, const Node& b, const Node& c) {
        const Facet facet = facetOf(a, b, c);
        if (withShadows && facet.lit)
            darken(a, b, c, facet.darkDensity - facet.density, 0);
        return facet.density;
    };
    for (std::size_t i = 0; i < count; ++i) {
        const int column = facets.first + static_cast<int>(i);
        const Node &a = upper.at(column), &b = upper.at(column + 1);
        const Node &c = lower.at(column), &d = lower.at(column + 1);
        facets.upper[i] = density(a, b, c);
        facets.lower[i] = density(b, d, c);
    }
    cells_ += count;
}

void TerrainAreas::pass(bool draws, bool withShadows) {
    Row upper, lower;
    RowFacets above, below;
    const auto addEdge = [&](const PixelGround& density, const Node& a, const Node& b) {
        if (!isZero(density))
            buffer_.addEdge(density, a.x, a.y, b.x, b.y);
    };
    const int rows = static_cast<int>(nodes_.rows.size());
    for (int i = 0; i < rows; ++i) {
        std::swap(upper, lower);
        std::swap(above, below);
        if (i == 0)
            fetch(nodes_.firstRow, upper, withShadows);
        below.upper.clear();
        below.lower.clear();
        if (i + 1 < rows) {
            fetch(nodes_.firstRow + i + 1, lower, withShadows);
            facetsBetween(upper, lower, withShadows, below);
        }
        if (!draws)
            continue;
        // Every edge once, with the difference of the triangles on its two sides.
        for (int column = upper.first; column + 1 < upper.end(); ++column)
            addEdge(below.upperAt(column) - above.lowerAt(column), upper.at(column),
                    upper.at(column + 1));
        for (int column = below.first; column < below.end(); ++column) {
            addEdge(below.lowerAt(column - 1) - below.upperAt(column), upper.at(column),
                    lower.at(column));
            addEdge(below.upperAt(column) - below.lowerAt(column), upper.at(column + 1),
                    lower.at(column));
        }
        if (below.end() > below.first)
            addEdge(below.lowerAt(below.end() - 1), upper.at(below.end()), lower.at(below.end()));
    }
}

void TerrainAreas::raiseHorizon() {
    Row upper, lower;
    const auto add = [&](const Node& a, const Node& b) {
        if (std::isfinite(a.look + b.look + a.referenceX + b.referenceX))
            horizon_.add(horizonPoint(a), horizonPoint(b));
    };
    const int rows = static_cast<int>(nodes_.rows.size());
    for (int i = 0; i < rows; ++i) {
        std::swap(upper, lower);
        fetch(nodes_.firstRow + i, lower, true);
        for (int column = lower.first; column + 1 < lower.end(); ++column)
            add(lower.at(column), lower.at(column + 1));
        if (i == 0)
            continue;
        const int first = std::max(upper.first, lower.first);
        const int end = std::min(upper.end(), lower.end());
        for (int column = first; column < end; ++column) {
            add(upper.at(column), lower.at(column));
            if (column + 1 < end)
                add(upper.at(column + 1), lower.at(column));
        }
    }
    horizon_.close();
}

} // namespace sart
