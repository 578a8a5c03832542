// SPDX-License-Identifier: MIT
#include "terrain/terrain_strips.h"

#include "output/console.h"
#include "output/ordered_work.h"
#include "sart/slant_areas.h"
#include "sart/terrain_areas.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace {

struct Pixel {
    float gammaArea = 0, sigmaArea = 0, mask = 0;
};

Pixel pixelOf(const sart::PixelGround& ground, const sart::SlantAreas& slant, std::uint32_t sample,
              std::uint32_t line) {
    const auto bits = [](int mask) { return Pixel{0, 0, static_cast<float>(mask)}; };
    const double covered = ground.covered();
    if (!(covered >= 0.5))
        return bits(+RtcMask::outside);
    // Where the terrain ends within the pixel, both areas are of the part that it covers.
    const double beta = covered * slant.at(sample, line, ground.heightM());
    const double gamma = ground.gammaM2() / beta;
    const bool lit = ground.upright() + ground.turned() >= 0.5 && gamma >= leastGammaArea;
    const int layover = ground.turned() >= leastLayover ? +RtcMask::layover : 0;
    if (!lit || !std::isfinite(gamma))
        return bits(+RtcMask::shadow + layover);
    return {static_cast<float>(gamma), static_cast<float>(ground.sigmaM2() / beta),
            static_cast<float>(+RtcMask::valid + layover)};
}

/// One strip at a time.
struct Strip {
    Strip(const sarm::SensorModel& model, product::TerrainNodes& nodes)
        : grid(nodes), areas(model, grid) {}

    product::TerrainNodes::Grid grid;
    sart::TerrainAreas areas;
    std::vector<float> values;
    std::uint64_t outside = 0; ///< pixels so far
};

} // namespace

double projectTerrain(const sarm::SensorModel& model, product::TerrainNodes& nodes, AreaFile& file,
                    std::size_t memory) {
    const std::uint32_t width = file.width(), height = file.height();
    constexpr std::size_t fewestLines = 16, mostLines = 256;
    const std::size_t lineBytes = sizeof(float) * AreaFile::planes * width;
    const product::TerrainNodes::Grid grid(nodes);
    const sart::TerrainAreas probe(model, grid);
    const sart::SlantAreas slant(model, grid.heights());
    const auto bytes = [&](std::size_t lines) {
        return probe.bytesOf(static_cast<int>(lines)) + lines * lineBytes;
    };
    OrderedWork work;
    work.slots = std::clamp<std::size_t>(memory / bytes(fewestLines), 1, machineThreads());
    std::size_t together = mostLines;
    while (together > fewestLines && bytes(together) > memory / work.slots)
        together -= fewestLines;
    work.items = (height + together - 1) / together;
    const auto first = [&](std::size_t item) { return static_cast<std::uint32_t>(item * together); };
    const auto count = [&](std::size_t item) {
        return std::min(static_cast<std::uint32_t>(together), height - first(item));
    };
    std::vector<std::optional<Strip>> strips(work.slots);
    work.prepare = [&](std::size_t item, std::size_t slot) {
        if (!strips[slot])
            strips[slot].emplace(model, nodes);
        Strip& strip = *strips[slot];
        strip.areas.project(static_cast<int>(first(item)), static_cast<int>(count(item)));
        strip.values.resize(std::size_t{count(item)} * AreaFile::planes * width);
        float* to = strip.values.data();
        for (std::uint32_t line = first(item); line < first(item) + count(item); ++line) {
            const auto ground = strip.areas.line(static_cast<int>(line));
            for (std::uint32_t i = 0; i < width; ++i) {
                const Pixel pixel = pixelOf(ground[i], slant, i, line);
                to[AreaFile::gammaArea * width + i] = pixel.gammaArea;
                to[AreaFile::sigmaArea * width + i] = pixel.sigmaArea;
                to[AreaFile::mask * width + i] = pixel.mask;
                strip.outside += pixel.mask == static_cast<float>(+RtcMask::outside);
            }
            to += std::size_t{AreaFile::planes} * width;
        }
        file.write(strip.values.data(), first(item), count(item));
    };
    console::Progress progress("projecting the terrain", work.items);
    work.take = [&](std::size_t item, std::size_t) { progress.advanceTo(item + 1); };
    run(work);
    std::uint64_t outside = 0;
    for (const std::optional<Strip>& strip : strips)
        outside += strip ? strip->outside : 0;
    return 1 - static_cast<double>(outside) / (double(width) * height);
}
