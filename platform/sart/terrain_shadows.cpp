// SPDX-License-Identifier: MIT
// TerrainAreas: the part of its triangles that lies in shadow.
#include "sart/terrain_tile.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace sart {

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
