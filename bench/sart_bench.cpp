// SPDX-License-Identifier: MIT
// Terrain projected into an image: cells of the elevation model a second of processor time.
//   sart_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only
// The scene is a simulated 22.9 s C-band strip of 18465 x 30466 pixels (slant 4.7 m, track 5 m)
// over hills of up to 14 degrees, mountains of 24 degrees in the median with layover and shadow in
// places, or mountains of up to 62 degrees with layover and shadow everywhere.

#include "platform/sarm/sar_record.h"
#include "sart/terrain_areas.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>

namespace {

constexpr int stripLines = 128;

const sarm::Model& model() {
    static const sarm::Model made = [] {
        support::Scene scene;
        scene.durationS = scene.arcS = 22.9;
        scene.lines = 30466;
        scene.samples = 18465;
        scene.pixelSpacing = 4.73;
        return sarm::Model::fromRecord(
                   *support::recordOf(scene, support::satelliteOver(20, 48, 192)))
            .value();
    }();
    return made;
}

/// From -1 to 1 and back while the phase grows by 2. What heights cost is no part of the
/// measurement: no sine.
double triangleWave(double phase) {
    return std::abs(phase - 2 * std::round(phase / 2)) * 2 - 1;
}

/// A grid in longitude and latitude with waves of a wavelength of 2.5 km.
class Waves final : public sart::TerrainGrid {
public:
    /// @param swing  by how much of itself the waves' height differs, over wavelengths of 17.5 km.
    Waves(double stepM, double heightM, double swing)
        : stepM_(stepM), heightM_(heightM), swing_(swing) {
        const auto outline = sarm::footprint(model(), 8);
        double east = -1e9, south = 1e9;
        for (const sarm::GroundPosition& at : outline) {
            west_ = std::min(west_, at.lonDeg);
            east = std::max(east, at.lonDeg);
            north_ = std::max(north_, at.latDeg);
            south = std::min(south, at.latDeg);
        }
        step_ = stepM / 111e3;
        west_ -= 0.2;
        north_ += 0.2;
        rows_ = static_cast<int>((north_ - south + 0.2) / step_);
        columns_ = static_cast<int>((east - west_ + 0.2) / step_);
    }

    int rows() const override { return rows_; }
    int columns() const override { return columns_; }
    void nodes(int row, int firstColumn, std::span<sarm::GroundPosition> to) const override {
        const double waveNumber = 2 * std::numbers::pi / (2500 / stepM_);
        const double along = std::sin(waveNumber * row);
        const double perNode = waveNumber / std::numbers::pi;
        const double swingAlong = swing_ * triangleWave(row * perNode / 7);
        for (std::size_t i = 0; i < to.size(); ++i) {
            const int column = firstColumn + static_cast<int>(i);
            const double across = triangleWave(column * perNode);
            const double swing = 1 + swingAlong * triangleWave(column * perNode / 7);
            to[i] = {west_ + column * step_, north_ - row * step_,
                     heightM_ * swing * (along + across)};
        }
    }
    sart::GridPlace placeOf(double lonDeg, double latDeg) const override {
        return {(north_ - latDeg) / step_, (lonDeg - west_) / step_};
    }
    double spacingM() const override { return stepM_; }
    sart::HeightRange heights() const override {
        const double most = 2 * heightM_ * (1 + swing_);
        return {-most, most};
    }

private:
    double stepM_, heightM_, swing_, step_ = 0, west_ = 1e9, north_ = -1e9;
    int rows_ = 0, columns_ = 0;
};

void projectTerrain(benchmark::State& state, double stepM, double heightM, double swing = 0) {
    const Waves terrain(stepM, heightM, swing);
    sart::TerrainAreas areas(model(), terrain);
    int strip = 10 + 7 * state.thread_index();
    for (auto _ : state)
        areas.project(stripLines * (strip++ % 200), stripLines);
    state.SetItemsProcessed(static_cast<std::int64_t>(areas.cells()));
    state.counters["linesPerSecond"] = benchmark::Counter(
        static_cast<double>(state.iterations() * stripLines), benchmark::Counter::kIsRate);
}
void hills30m(benchmark::State& state) {
    projectTerrain(state, 30, 90);
}
void hills10m(benchmark::State& state) {
    projectTerrain(state, 10, 90);
}
void mixed30m(benchmark::State& state) {
    projectTerrain(state, 30, 150, 2.5);
}
void mountains30m(benchmark::State& state) {
    projectTerrain(state, 30, 600);
}
BENCHMARK(hills30m)->ThreadRange(1, 2);
BENCHMARK(hills10m)->ThreadRange(1, 2);
BENCHMARK(mixed30m)->ThreadRange(1, 2);
BENCHMARK(mountains30m)->ThreadRange(1, 2);

} // namespace

BENCHMARK_MAIN();
