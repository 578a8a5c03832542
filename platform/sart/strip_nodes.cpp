// SPDX-License-Identifier: MIT
#include "sart/strip_nodes.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace sart {

namespace {

/// Straight pieces along the lines, so that the outline of each follows the curves of the ground.
constexpr int pieces = 32;
/// Rows and columns that an outline is widened by: a cell, and what pieces bend.
constexpr double widening = 1.5;

class RowSpans {
public:
    explicit RowSpans(const TerrainGrid& terrain)
        : rows_(terrain.rows()), columns_(terrain.columns()),
          spans_(static_cast<std::size_t>(rows_)) {}

    /// Takes in the widened straight line between two places.
    void add(const GridPlace& a, const GridPlace& b) {
        const GridPlace &top = a.row < b.row ? a : b, &low = a.row < b.row ? b : a;
        const int from = static_cast<int>(std::max(std::ceil(top.row - widening), 0.0));
        const int to = static_cast<int>(std::min(std::floor(low.row + widening), rows_ - 1.0));
        const double slope =
            low.row > top.row ? (low.column - top.column) / (low.row - top.row) : 0;
        const double least = std::min(a.column, b.column), most = std::max(a.column, b.column);
        for (int row = from; row <= to; ++row) {
            const bool level = low.row - top.row < 1e-9;
            const auto at = [&](double y) {
                return std::clamp(top.column + (y - top.row) * slope, least, most);
            };
            const double one = level ? least : at(row - widening);
            const double other = level ? most : at(row + widening);
            widen(row, std::min(one, other) - widening, std::max(one, other) + widening);
        }
    }

    StripNodes taken() {
        StripNodes nodes;
        int first = 0, last = rows_ - 1;
        const auto empty = [&](int row) {
            const NodeSpan& span = spans_[static_cast<std::size_t>(row)];
            return span.end <= span.first;
        };
        while (first <= last && empty(first))
            ++first;
        while (last >= first && empty(last))
            --last;
        nodes.firstRow = first;
        nodes.rows.assign(spans_.begin() + first, spans_.begin() + last + 1);
        return nodes;
    }

private:
    void widen(int row, double from, double to) {
        NodeSpan& span = spans_[static_cast<std::size_t>(row)];
        const int first = static_cast<int>(std::clamp(std::floor(from), 0.0, double(columns_)));
        const int end = static_cast<int>(std::clamp(std::ceil(to) + 1, 0.0, double(columns_)));
        if (end <= first)
            return;
        const bool fresh = span.end <= span.first;
        span.first = fresh ? first : std::min(span.first, first);
        span.end = fresh ? end : std::max(span.end, end);
    }

    int rows_, columns_;
    std::vector<NodeSpan> spans_;
};

} // namespace

StripNodes nodesUnder(const sarm::SensorModel& model, const TerrainGrid& terrain,
                      const ImagePart& part) {
    RowSpans spans(terrain);
    std::vector<GridPlace> before, now;
    const HeightRange heights = terrain.heights();
    for (int i = 0; i <= pieces; ++i) {
        const double x = part.left + (part.right - part.left) * i / pieces;
        now.clear();
        for (const double y : {part.top, part.bottom})
            for (const double height : {heights.lowestM, heights.highestM})
                if (const auto ground = model.imageToGround({x - 0.5, y - 0.5}, height)) {
                    const GridPlace place = terrain.placeOf(ground->lonDeg, ground->latDeg);
                    if (std::isfinite(place.row) && std::isfinite(place.column))
                        now.push_back(place);
                }
        // The hull of the piece's corners: every line between two of them.
        std::vector<GridPlace> corners = before;
        corners.insert(corners.end(), now.begin(), now.end());
        for (std::size_t a = 0; a < corners.size(); ++a)
            for (std::size_t b = a + 1; b < corners.size(); ++b)
                spans.add(corners[a], corners[b]);
        before = now;
    }
    return spans.taken();
}

} // namespace sart
