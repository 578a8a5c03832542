// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/elevation.h"
#include "kxfr/smooth_grid.h"
#include "rf_constants.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

namespace kimg {

constexpr double metresInDegree = 111e3;

/// Converts a block's pixels to longitudes and latitudes, all near one longitude. Holds references
/// to its arguments.
class BlockGround {
public:
    BlockGround(const KprjGeographicConverter& map, const MapBlock& block)
        : map_(map), block_(block) {
        // Along the block's middle line, so that a part beyond the map does no harm.
        for (const double part : {0.5, 0.25, 0.75, 0.0, 1.0}) {
            const Place place{part * block.columns, 0.5 * block.lines};
            const std::vector<Place> places = {place,
                                               {place.column + 1, place.line},
                                               {place.column, place.line + 1},
                                               {place.column, 0},
                                               {place.column, 1.0 * block.lines}};
            std::vector<KxfrMapPoint> ground(places.size());
            to(places, ground);
            if (std::isnan(ground[0].x + ground[1].x + ground[2].x))
                continue;
            nearLonDeg_ = ground[0].x;
            const auto far = [&](std::size_t i) {
                const double east = std::remainder(ground[i].x - ground[0].x, 360.0);
                return metresInDegree *
                       std::hypot(east * std::cos(radians(ground[0].y)), ground[i].y - ground[0].y);
            };
            stepM_ = std::min(far(1), far(2));
            for (const KxfrMapPoint& point : ground)
                if (!std::isnan(point.y))
                    longest_ = std::max(longest_, std::cos(radians(point.y)));
            break;
        }
    }

    using Place = kxfr::SmoothGrid<2>::Place;

    double nearLonDeg() const { return nearLonDeg_; }
    double stepM() const { return stepM_; }
    /// @return the longest of the block's parallels, of the equator.
    double longestParallel() const { return std::max(longest_, 1e-6); }

    template <class AnyPlace>
    void to(std::span<const AnyPlace> places, std::span<KxfrMapPoint> ground) const {
        for (std::size_t i = 0; i < places.size(); ++i)
            ground[i] = {block_.left + places[i].column * block_.stepX,
                         block_.top + places[i].line * block_.stepY, 0};
        map_.toGeographic(&ground[0].x, &ground[0].y, sizeof ground[0], ground.size());
        for (KxfrMapPoint& point : ground)
            point.x = nearLonDeg_ + std::remainder(point.x - nearLonDeg_, 360.0);
    }
    void to(const std::vector<Place>& places, std::span<KxfrMapPoint> ground) const {
        to(std::span<const Place>(places), ground);
    }

private:
    static double radians(double degrees) { return degrees * constants::radiansPerDegree; }

    const KprjGeographicConverter& map_;
    const MapBlock& block_;
    double nearLonDeg_ = 0, stepM_ = 1, longest_ = 0;
};

} // namespace kimg
