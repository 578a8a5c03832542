// SPDX-License-Identifier: MIT
#include "product/place/footprint.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace product {
namespace {

constexpr int leastHalvings = 4; // 16 pieces an edge
constexpr int mostHalvings = 16;
constexpr double largestStepDeg = 5; // of longitude; large steps occur beside a pole

using Ring = std::vector<LonLat>;

double turnDeg(double from, double to) {
    return std::remainder(to - from, 360.0);
}

class Outline {
public:
    explicit Outline(const Locator& locator) : locator_(locator) {}

    LonLat at(const KxfrPixel& pixel) const {
        KxfrMapPoint point{0, 0, locator_.sceneHeightM()};
        locator_.toGround({&pixel, 1}, {&point, 1});
        return {point.x, point.y};
    }

    /// Appends the edge's points except the last.
    void append(const KxfrPixel& from, const KxfrPixel& to, int depth, Ring& ring) const {
        const LonLat start = at(from), end = at(to);
        const bool coarse = std::abs(turnDeg(start.lonDeg, end.lonDeg)) > largestStepDeg;
        if (depth == mostHalvings || (depth >= leastHalvings && !coarse)) {
            ring.push_back(start);
            return;
        }
        const KxfrPixel middle{(from.sample + to.sample) / 2, (from.line + to.line) / 2};
        append(from, middle, depth + 1, ring);
        append(middle, to, depth + 1, ring);
    }

private:
    const Locator& locator_;
};

/// Longitudes without jumps: each within half a turn of the one before.
/// @return the ring, closed, and how far it turned around the axis: 0, or 360 either way.
double unwrap(Ring& ring) {
    ring.push_back(ring.front());
    for (std::size_t i = 1; i < ring.size(); ++i)
        ring[i].lonDeg = ring[i - 1].lonDeg + turnDeg(ring[i - 1].lonDeg, ring[i].lonDeg);
    return std::round((ring.back().lonDeg - ring.front().lonDeg) / 360) * 360;
}

/// Where the line from a to b crosses a meridian.
LonLat onMeridian(const LonLat& a, const LonLat& b, double lonDeg) {
    const double part = (lonDeg - a.lonDeg) / (b.lonDeg - a.lonDeg);
    return {lonDeg, a.latDeg + part * (b.latDeg - a.latDeg)};
}

/// Converts an unwrapped ring around a pole to one that starts and ends on the antimeridian and
/// returns along the pole's line.
Ring closedOverPole(Ring ring, double turn) {
    double sumLat = 0;
    for (const LonLat& point : ring)
        sumLat += point.latDeg;
    const double pole = sumLat > 0 ? 90 : -90;
    // The first antimeridian at or after the start, in the direction of the turn.
    const double side = turn > 0 ? 180 : -180;
    const double seam = side + 360 * (turn > 0 ? std::ceil((ring.front().lonDeg - side) / 360)
                                               : std::floor((ring.front().lonDeg - side) / 360));
    std::size_t next = 1;
    while (turn > 0 ? ring[next].lonDeg < seam : ring[next].lonDeg > seam)
        ++next;
    const LonLat cut = onMeridian(ring[next - 1], ring[next], seam);
    Ring turned = {cut};
    turned.insert(turned.end(), ring.begin() + static_cast<std::ptrdiff_t>(next), ring.end() - 1);
    for (std::size_t i = 0; i < next; ++i)
        turned.push_back({ring[i].lonDeg + turn, ring[i].latDeg});
    turned.push_back({seam + turn, cut.latDeg});
    turned.push_back({seam + turn, pole});
    turned.push_back({seam, pole});
    turned.push_back(cut);
    return turned;
}

/// The part of a closed ring on one side of a meridian (east: longitudes above it).
Ring clipped(const Ring& ring, double lonDeg, bool east) {
    const auto inside = [&](const LonLat& p) {
        return east ? p.lonDeg >= lonDeg : p.lonDeg <= lonDeg;
    };
    Ring kept;
    for (std::size_t i = 0; i + 1 < ring.size(); ++i) {
        const LonLat &a = ring[i], &b = ring[i + 1];
        if (inside(a))
            kept.push_back(a);
        if (inside(a) != inside(b))
            kept.push_back(onMeridian(a, b, lonDeg));
    }
    if (!kept.empty())
        kept.push_back(kept.front());
    return kept;
}

double signedArea(const Ring& ring) {
    double area = 0;
    for (std::size_t i = 0; i + 1 < ring.size(); ++i)
        area += (ring[i + 1].lonDeg - ring[i].lonDeg) * (ring[i + 1].latDeg + ring[i].latDeg) / -2;
    return area;
}

} // namespace

std::vector<Ring> polygonsOf(const Ring& outline) {
    if (outline.size() < 3)
        return {};
    Ring ring = outline;
    if (const double turn = unwrap(ring); turn != 0)
        ring = closedOverPole(std::move(ring), turn);
    const auto [west, east] =
        std::minmax_element(ring.begin(), ring.end(),
                            [](const LonLat& a, const LonLat& b) { return a.lonDeg < b.lonDeg; });
    const int first = static_cast<int>(std::floor((west->lonDeg + 180) / 360));
    const int last = static_cast<int>(std::ceil((east->lonDeg + 180) / 360)) - 1;
    std::vector<Ring> polygons;
    for (int turn = first; turn <= last; ++turn) {
        Ring piece = clipped(clipped(ring, 360.0 * turn - 180, true), 360.0 * turn + 180, false);
        for (LonLat& point : piece)
            point.lonDeg -= 360.0 * turn;
        const double area = signedArea(piece);
        if (area == 0)
            continue; // the ring only touches the antimeridian
        if (area < 0)
            std::reverse(piece.begin(), piece.end());
        polygons.push_back(std::move(piece));
    }
    return polygons;
}

Footprint footprintOf(const Locator& locator, double width, double height) {
    const std::array<KxfrPixel, 4> edges = {
        {{-0.5, -0.5}, {width - 0.5, -0.5}, {width - 0.5, height - 0.5}, {-0.5, height - 0.5}}};
    const Outline outline(locator);
    Footprint footprint;
    Ring ring;
    for (std::size_t i = 0; i < edges.size(); ++i) {
        outline.append(edges[i], edges[(i + 1) % edges.size()], 0, ring);
        const KxfrPixel& edge = edges[i];
        footprint.corners.push_back(outline.at(
            {std::clamp(edge.sample, 0.0, width - 1), std::clamp(edge.line, 0.0, height - 1)}));
    }
    const bool whole = std::all_of(ring.begin(), ring.end(), [](const LonLat& point) {
        return std::isfinite(point.lonDeg) && std::isfinite(point.latDeg);
    });
    if (whole)
        footprint.polygons = polygonsOf(ring);
    return footprint;
}

} // namespace product
