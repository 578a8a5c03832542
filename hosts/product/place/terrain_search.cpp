// SPDX-License-Identifier: MIT
#include "product/place/locator.h"

#include <cmath>
#include <limits>

namespace product {
namespace {

constexpr double close = 1e-4; // m
constexpr int mostRounds = 100;
constexpr double none = std::numeric_limits<double>::quiet_NaN();

/// Searches the height at which one point's line of sight meets the terrain. Terrain height minus
/// trial height is positive at `low` and negative at `high`, once these are known.
struct Search {
    std::size_t point;
    double height;
    double low = none, lowExcess = none, high = none, highExcess = none;

    double reach = 1;

    /// The next height to try. Until the terrain is bracketed, step towards it with growing steps,
    /// which ends because terrain is bounded. Then alternate bisection and secant steps.
    void step(double excess, int round) {
        (excess > 0 ? low : high) = height;
        (excess > 0 ? lowExcess : highExcess) = excess;
        if (std::isnan(low) || std::isnan(high))
            height += reach * excess;
        else if (round % 2 == 0)
            height = (low + high) / 2;
        else
            height = low + (high - low) * lowExcess / (lowExcess - highExcess);
        reach *= 2;
    }
};

} // namespace

void Locator::toTerrain(std::span<const KxfrPixel> pixels, std::span<KxfrMapPoint> ground,
                        const kimg::ElevationModel& elevation) const {
    std::vector<Search> active;
    for (std::size_t i = 0; i < pixels.size(); ++i)
        active.push_back({i, sceneHeightM()});
    std::vector<KxfrPixel> at;
    std::vector<KxfrMapPoint> tried, terrain;
    for (int round = 0; round < mostRounds && !active.empty(); ++round) {
        at.clear();
        tried.clear();
        for (const Search& search : active) {
            at.push_back(pixels[search.point]);
            tried.push_back({0, 0, search.height});
        }
        toGround(at, tried);
        terrain = tried;
        setHeights(terrain, elevation);
        std::vector<Search> open;
        for (std::size_t i = 0; i < active.size(); ++i) {
            const double excess = terrain[i].heightM - tried[i].heightM;
            ground[active[i].point] =
                std::abs(excess) < close ? tried[i] : KxfrMapPoint{none, none, none};
            if (!(std::abs(excess) >= close))
                continue; // found, or outside the model
            active[i].step(excess, round);
            open.push_back(active[i]);
        }
        active.swap(open);
    }
}

} // namespace product
