// SPDX-License-Identifier: MIT
#include "pictures/graticule.h"

#include "loader/plugin.h"
#include "pictures/marks.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

namespace {

constexpr int linesWanted = 5;
constexpr int mostLines = 200;
constexpr int pointsOfLine = 256;

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
    Graticule(const PicturePlace& picture, double stepDeg, const std::vector<Overlay::Box>& taken,
              Overlay& overlay)
        : place_(picture), overlay_(overlay), taken_(taken) {
        findRanges();
        lonStep_ = stepDeg > 0 ? stepDeg : roundStepDeg(lon_.high - lon_.low);
        latStep_ = stepDeg > 0 ? stepDeg : roundStepDeg(lat_.high - lat_.low);
        if ((lon_.high - lon_.low) / lonStep_ > mostLines ||
            (lat_.high - lat_.low) / latStep_ > mostLines)
            throw loader::Error("a graticule of " + std::to_string(stepDeg) +
                                " degrees has too many lines here");
    }

    void draw() {
        // Extended beyond the sampled range, so that lines reach the picture's corners and a pole
        // inside.
        const Range lon{lon_.low - lonStep_, lon_.high + lonStep_};
        const Range lat{std::max(lat_.low - latStep_, -90.0), std::min(lat_.high + latStep_, 90.0)};
        for (double at = std::ceil(lon_.low / lonStep_); at * lonStep_ <= lon_.high; ++at)
            drawLine({at * lonStep_, lat.low}, {at * lonStep_, lat.high},
                     labelText(std::remainder(at * lonStep_, 360), lonStep_, "E", "W"));
        for (double at = std::ceil(lat_.low / latStep_); at * latStep_ <= lat_.high; ++at)
            drawLine({lon.low, at * latStep_}, {lon.high, at * latStep_},
                     labelText(at * latStep_, latStep_, "N", "S"));
    }

private:
    struct Place {
        double lonDeg, latDeg;
    };

    /// Longitudes continue from the centre's without a break.
    void findRanges() {
        constexpr int steps = 32;
        const double width = overlay_.width(), height = overlay_.height();
        std::vector<Overlay::Spot> spots = {{width / 2, height / 2}};
        for (int row = 0; row <= steps; ++row)
            for (int column = 0; column <= steps; ++column)
                spots.push_back({width * column / steps - 0.5, height * row / steps - 0.5});
        const std::vector<KxfrMapPoint> ground = place_.toGround(spots);
        const double centre = ground[0].x;
        for (const KxfrMapPoint& point : ground) {
            const double lon = centre + std::remainder(point.x - centre, 360);
            if (!std::isfinite(lon) || !std::isfinite(point.y))
                throw loader::Error(
                    "a part of the picture has no place on the ground: no graticule");
            lon_ = {std::min(lon_.low, lon), std::max(lon_.high, lon)};
            lat_ = {std::min(lat_.low, point.y), std::max(lat_.high, point.y)};
        }
    }

    static std::string labelText(double value, double step, const char* plus, const char* minus) {
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
            ground.push_back(
                {std::remainder(lon, 360), from.latDeg + part * (to.latDeg - from.latDeg), 0});
        }
        return place_.toPicture(ground);
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
        if (first != spots.end() && !label(*first, text))
            label(*last, text);
    }

    /// @return whether there was room.
    bool label(const Overlay::Spot& spot, const std::string& text) {
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

    const PicturePlace& place_;
    Overlay& overlay_;
    Range lon_{1e9, -1e9}, lat_{1e9, -1e9};
    double lonStep_, latStep_;
    std::vector<Overlay::Box> taken_;
};

} // namespace

void drawGraticule(const PicturePlace& picture, double stepDeg,
                   const std::vector<Overlay::Box>& taken, Overlay& overlay) {
    Graticule(picture, stepDeg, taken, overlay).draw();
}
