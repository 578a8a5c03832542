// SPDX-License-Identifier: MIT
#pragma once

#include "sart/terrain_areas.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

/// What TerrainAreas makes of a terrain before it is drawn; for its own files only.
namespace sart {

/// A node, or a place between nodes, in the image and towards the horizon.
struct TerrainAreas::Place {
    double x, y;     ///< pixel (i, j) covers [i, i + 1) x [j, j + 1); NaN where nothing is seen
    double distance; ///< outwards, in steps of the horizon
    double look;

    Horizon::Point horizonPoint() const { return {y, distance, look}; }
};

struct TerrainAreas::Node : Place {
    double heightM;
    sarm::Vec3 point;
    sarm::Vec3 sight; ///< unit vector to the antenna
};

/// A triangle of the terrain, seen from the antenna.
struct TerrainAreas::Facing {
    sarm::Vec3 normal; ///< its length is the area
    double turn = 0;   ///< the grid's own sense of turning
    double gamma = 0;
    double imageArea = 0;
    bool isAway = false;  ///< turned away from the antenna, in the strip or its margin
    bool inStrip = false; ///< otherwise the rest may be missing

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
    std::array<sarm::Vec3, cells + 1> space;

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

inline PixelGround operator-(const PixelGround& a, const PixelGround& b) {
    PixelGround difference;
    difference.areas = a.areas - b.areas;
    difference.parts = a.parts - b.parts;
    return difference;
}

inline bool isDrawn(const PixelGround& density) {
    return density.areas[1] != 0 || density.parts[2] != 0;
}

inline double least(double a, double b, double c) {
    return std::min(std::min(a, b), c);
}

inline double most(double a, double b, double c) {
    return std::max(std::max(a, b), c);
}

} // namespace sart
