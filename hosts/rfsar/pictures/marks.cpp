// SPDX-License-Identifier: MIT
#include "pictures/marks.h"

#include "loader/plugin.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>

namespace {

constexpr int margin = 12, gap = 5; // pixels

/// The ground across the middle of the picture.
std::vector<KxfrMapPoint> groundAcross(const PicturePlace& place, const Overlay& overlay) {
    const double x = (overlay.width() - 1) / 2.0, y = (overlay.height() - 1) / 2.0;
    const double away = overlay.width() / 8.0;
    std::vector<KxfrMapPoint> ground = place.toGround({{x - away, y}, {x, y}, {x + away, y}});
    for (const KxfrMapPoint& point : ground)
        if (!std::isfinite(point.x) || !std::isfinite(point.y))
            throw loader::Error("the picture's centre has no place on the ground: no scale bar and "
                                "no north arrow");
    return ground;
}

} // namespace

double roundedDown(double number) {
    const double power = std::pow(10, std::floor(std::log10(number)));
    return number >= 5 * power ? 5 * power : number >= 2 * power ? 2 * power : power;
}

Overlay::Box drawScaleBar(const PicturePlace& place, Overlay& overlay) {
    const auto ground = groundAcross(place, overlay);
    const double metres = // to a pixel
        (groundStep(ground[0], ground[1]).lengthM() + groundStep(ground[1], ground[2]).lengthM()) *
        4 / overlay.width();
    if (!(metres > 0))
        throw loader::Error("the picture's centre has no size on the ground: no scale bar");
    const double length = roundedDown(metres * overlay.width() / 4);
    char text[32];
    std::snprintf(text, sizeof text, length >= 1000 ? "%.0f km" : "%g m",
                  length >= 1000 ? length / 1000 : length);
    const Overlay::Box label = overlay.sizeOf(text);
    const int thickness = std::max(2, label.height / 4);
    const int wide = static_cast<int>(std::lround(length / metres));
    const int top = overlay.height() - margin - thickness;
    overlay.bar({margin, top, wide, thickness});
    for (const int end : {margin, margin + wide - thickness})
        overlay.bar({end, top - thickness, thickness, thickness});
    const int highest = top - gap - label.height;
    overlay.write(margin + std::max(0, (wide - label.width) / 2), highest, text);
    return {margin, highest, std::max(wide, label.width), overlay.height() - highest};
}

Overlay::Box drawNorthArrow(const PicturePlace& place, Overlay& overlay) {
    KxfrMapPoint centre = groundAcross(place, overlay)[1];
    KxfrMapPoint beyond = centre;
    constexpr double shortWayDeg = 1e-4;
    (centre.y < 0 ? centre : beyond).y += centre.y < 0 ? -shortWayDeg : shortWayDeg;
    const auto spots = place.toPicture({centre, beyond});
    const double dx = spots[1].x - spots[0].x, dy = spots[1].y - spots[0].y;
    const double length = std::hypot(dx, dy);
    if (!(length > 0))
        throw loader::Error("north has no direction at the picture's centre: no north arrow");
    const Overlay::Box letter = overlay.sizeOf("N");
    const double half = 2.0 * letter.height, east = dx / length, south = dy / length;
    const int side = static_cast<int>(2 * half) + 2 * letter.height;
    const Overlay::Box box{overlay.width() - margin - side, margin, side, side};
    const double x = box.left + side / 2.0, y = box.top + side / 2.0;
    const Overlay::Spot tip{x + half * east, y + half * south};
    const double head = half / 1.5, spread = std::numbers::pi / 7;
    overlay.line({x - half * east, y - half * south}, tip);
    for (const double turn : {spread, -spread}) {
        const double c = std::cos(turn), s = std::sin(turn);
        overlay.line(
            tip, {tip.x - head * (east * c - south * s), tip.y - head * (east * s + south * c)});
    }
    const double letterAway = half + 0.9 * letter.height;
    overlay.write(static_cast<int>(std::lround(x + letterAway * east - letter.width / 2.0)),
                  static_cast<int>(std::lround(y + letterAway * south - letter.height / 2.0)), "N");
    return box;
}

Overlay::Box drawLegend(const GreyScale& scale, Overlay& overlay, std::vector<std::uint8_t>& grey) {
    char low[32], high[48];
    std::snprintf(low, sizeof low, "%.3g", scale.black);
    std::snprintf(high, sizeof high, "%.3g %s", scale.white,
                  scale.unit == "degree" ? "°" : scale.unit.c_str());
    const Overlay::Box lowBox = overlay.sizeOf(low), highBox = overlay.sizeOf(high);
    const int wide = std::max(overlay.width() / 4, 2), tall = lowBox.height + 2;
    const int whole = lowBox.width + highBox.width + wide + 2 * gap;
    const Overlay::Box box{overlay.width() - margin - whole, overlay.height() - margin - tall,
                           whole, tall};
    if (box.left < 0 || box.top < 0)
        return {overlay.width(), overlay.height(), 0, 0}; // no room
    const int left = box.left + lowBox.width + gap;
    overlay.write(box.left, box.top + 1, low);
    overlay.write(left + wide + gap, box.top + 1, high);
    for (int y = box.top; y < box.top + tall; ++y)
        for (int x = 0; x < wide; ++x)
            grey[static_cast<std::size_t>(y) * static_cast<std::size_t>(overlay.width()) +
                 static_cast<std::size_t>(left + x)] =
                static_cast<std::uint8_t>(1 + 254 * x / (wide - 1));
    overlay.frame({left, box.top, wide, tall});
    return box;
}
