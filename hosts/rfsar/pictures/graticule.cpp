#include "pictures/graticule.h"

#include "loader/plugin.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>

namespace {

constexpr int linesWanted = 5;
constexpr int mostLines = 200;
constexpr int pointsOfLine = 256;
constexpr double degree = std::numbers::pi / 180;

/// The largest of 1, 2, 5 times a power of ten that is not above the number.
double roundedDown(double number) {
    const double power = std::pow(10, std::floor(std::log10(number)));
    return number >= 5 * power ? 5 * power : number >= 2 * power ? 2 * power : power;
}

/// Steps of whole degrees divide the circle.
double roundStepDeg(double spanDeg) {
    const double step = roundedDown(2 * spanDeg / linesWanted);
    return step > 50 ? 90 : step > 10 ? 30 : step;
}

struct Range {
    double low, high;
};

class Graticule {
public:
    Graticule(const PictureOf& picture, double stepDeg, const std::vector<Overlay::Box>& taken,
              Overlay& overlay)
        : picture_(picture), overlay_(overlay), taken_(taken) {
        findRanges();
        lonStep_ = stepDeg > 0 ? stepDeg : roundStepDeg(lon_.high - lon_.low);
        latStep_ = stepDeg > 0 ? stepDeg : roundStepDeg(lat_.high - lat_.low);
        if ((lon_.high - lon_.low) / lonStep_ > mostLines ||
            (lat_.high - lat_.low) / latStep_ > mostLines)
            throw loader::Error("a graticule of " + std::to_string(stepDeg) +
                                " degrees has too many lines here");
    }

    void draw() {
        // Beyond what was seen, so that lines reach the picture's corners, and a pole inside.
        const Range lon{lon_.low - lonStep_, lon_.high + lonStep_};
        const Range lat{std::max(lat_.low - latStep_, -90.0), std::min(lat_.high + latStep_, 90.0)};
        for (double at = std::ceil(lon_.low / lonStep_); at * lonStep_ <= lon_.high; ++at)
            drawLine({at * lonStep_, lat.low}, {at * lonStep_, lat.high},
                     label(std::remainder(at * lonStep_, 360), lonStep_, "E", "W"));
        for (double at = std::ceil(lat_.low / latStep_); at * latStep_ <= lat_.high; ++at)
            drawLine({lon.low, at * latStep_}, {lon.high, at * latStep_},
                     label(at * latStep_, latStep_, "N", "S"));
    }

private:
    struct Place {
        double lonDeg, latDeg;
    };

    /// Longitudes go on from the centre's, without a break.
    void findRanges() {
        constexpr int steps = 32;
        std::vector<KxfrPixel> pixels = {{picture_.imageWidth / 2, picture_.imageHeight / 2}};
        for (int row = 0; row <= steps; ++row)
            for (int column = 0; column <= steps; ++column)
                pixels.push_back({picture_.imageWidth * column / steps - 0.5,
                                  picture_.imageHeight * row / steps - 0.5});
        std::vector<KxfrMapPoint> ground(pixels.size(), {0, 0, picture_.locator.sceneHeightM()});
        picture_.locator.toGround(pixels, ground);
        const double centre = ground[0].x;
        for (const KxfrMapPoint& point : ground) {
            const double lon = centre + std::remainder(point.x - centre, 360);
            if (!std::isfinite(lon) || !std::isfinite(point.y))
                throw loader::Error("a part of the image has no place on the ground: no graticule");
            lon_ = {std::min(lon_.low, lon), std::max(lon_.high, lon)};
            lat_ = {std::min(lat_.low, point.y), std::max(lat_.high, point.y)};
        }
    }

    static std::string label(double value, double step, const char* plus, const char* minus) {
        const int decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
        char text[32];
        std::snprintf(text, sizeof text, "%.*f°%s", decimals, std::fabs(value),
                      value < 0 ? minus : plus);
        return text;
    }

    std::vector<Overlay::Spot> spotsOf(const Place& from, const Place& to) const {
        std::vector<KxfrMapPoint> ground;
        ground.reserve(pointsOfLine + 1);
        for (int i = 0; i <= pointsOfLine; ++i) {
            const double part = static_cast<double>(i) / pointsOfLine;
            const double lon = from.lonDeg + part * (to.lonDeg - from.lonDeg);
            ground.push_back({std::remainder(lon, 360),
                              from.latDeg + part * (to.latDeg - from.latDeg),
                              picture_.locator.sceneHeightM()});
        }
        std::vector<KxfrPixel> pixels(ground.size());
        picture_.locator.toImage(ground, pixels);
        std::vector<Overlay::Spot> spots;
        spots.reserve(pixels.size());
        for (const KxfrPixel& pixel : pixels)
            spots.push_back({(pixel.sample + 0.5) * overlay_.width() / picture_.imageWidth - 0.5,
                             (pixel.line + 0.5) * overlay_.height() / picture_.imageHeight - 0.5});
        return spots;
    }

    bool inside(const Overlay::Spot& spot) const {
        return spot.x >= 0 && spot.y >= 0 && spot.x < overlay_.width() &&
               spot.y < overlay_.height();
    }

    void drawLine(const Place& from, const Place& to, const std::string& text) {
        const std::vector<Overlay::Spot> spots = spotsOf(from, to);
        for (std::size_t i = 1; i < spots.size(); ++i)
            overlay_.line(spots[i - 1], spots[i]);
        const auto in = [this](const Overlay::Spot& spot) { return inside(spot); };
        const auto first = std::find_if(spots.begin(), spots.end(), in);
        const auto last = std::find_if(spots.rbegin(), spots.rend(), in);
        if (first != spots.end() && !place(*first, text))
            place(*last, text);
    }

    /// @return whether there was room.
    bool place(const Overlay::Spot& spot, const std::string& text) {
        static constexpr int margin = 6;
        Overlay::Box box = overlay_.sizeOf(text);
        const auto within = [](double at, int size, int whole) {
            return std::max(margin, std::min(static_cast<int>(at), whole - size - margin));
        };
        box.left = within(spot.x + margin, box.width, overlay_.width());
        box.top = within(spot.y + margin, box.height, overlay_.height());
        for (const Overlay::Box& other : taken_)
            if (box.left < other.left + other.width + margin &&
                other.left < box.left + box.width + margin &&
                box.top < other.top + other.height + margin &&
                other.top < box.top + box.height + margin)
                return false;
        taken_.push_back(box);
        overlay_.write(box.left, box.top, text);
        return true;
    }

    const PictureOf& picture_;
    Overlay& overlay_;
    Range lon_{1e9, -1e9}, lat_{1e9, -1e9};
    double lonStep_, latStep_;
    std::vector<Overlay::Box> taken_;
};

/// Between places that are near each other, on the ellipsoid.
double metresBetween(const KxfrMapPoint& a, const KxfrMapPoint& b) {
    constexpr double radius = 6378137, eccentricity = 0.00669437999014;
    const double lat = (a.y + b.y) / 2 * degree;
    const double w = 1 - eccentricity * std::sin(lat) * std::sin(lat);
    const double north = radius * (1 - eccentricity) / (w * std::sqrt(w)) * (b.y - a.y) * degree;
    const double east =
        radius / std::sqrt(w) * std::cos(lat) * std::remainder(b.x - a.x, 360) * degree;
    return std::hypot(north, east);
}

} // namespace

void drawGraticule(const PictureOf& picture, double stepDeg, const std::vector<Overlay::Box>& taken,
                   Overlay& overlay) {
    Graticule(picture, stepDeg, taken, overlay).draw();
}

Overlay::Box drawScaleBar(const PictureOf& picture, Overlay& overlay) {
    const double x = picture.imageWidth / 2 - 0.5, y = picture.imageHeight / 2 - 0.5;
    const double away = std::min(50.0, picture.imageWidth / 4);
    const KxfrPixel pixels[] = {{x - away, y}, {x + away, y}};
    KxfrMapPoint ground[] = {{0, 0, picture.locator.sceneHeightM()},
                             {0, 0, picture.locator.sceneHeightM()}};
    picture.locator.toGround(pixels, ground);
    const double metres = metresBetween(ground[0], ground[1]) / (2 * away) * picture.imageWidth /
                          overlay.width(); // to a pixel of the picture
    if (!(metres > 0) || !std::isfinite(metres))
        throw loader::Error("the image's centre has no place on the ground: no scale bar");
    const double length = roundedDown(metres * overlay.width() / 4);
    char text[32];
    std::snprintf(text, sizeof text, length >= 1000 ? "%.0f km" : "%g m",
                  length >= 1000 ? length / 1000 : length);
    constexpr int margin = 12, gap = 5;
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
