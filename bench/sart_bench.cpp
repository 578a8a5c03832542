// SPDX-License-Identifier: MIT
// Terrain projected into an image: cells of the elevation model a second of processor time.
//   sart_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only
// The scene is a simulated 22.9 s C-band strip of 18465 x 30466 pixels (slant 4.7 m, track 5 m)
// over hills of up to 14 degrees, or mountains of up to 62 degrees with layover and shadow
// everywhere.

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

/// A grid in longitude and latitude with waves of a wavelength of 2.5 km.
class Waves final : public sart::TerrainGrid {
public:
    Waves(double stepM, double heightM) : stepM_(stepM), heightM_(heightM) {
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
        for (std::size_t i = 0; i < to.size(); ++i) {
            const int column = firstColumn + static_cast<int>(i);
            // A triangle wave: what heights cost is no part of the measurement.
            const double phase = column * waveNumber / std::numbers::pi;
            const double across = std::abs(phase - 2 * std::round(phase / 2)) * 2 - 1;
            to[i] = {west_ + column * step_, north_ - row * step_, heightM_ * (along + across)};
        }
    }
    sart::GridPlace placeOf(double lonDeg, double latDeg) const override {
        return {(north_ - latDeg) / step_, (lonDeg - west_) / step_};
    }
    double spacingM() const override { return stepM_; }
    sart::HeightRange heights() const override { return {-2 * heightM_, 2 * heightM_}; }

private:
    double stepM_, heightM_, step_ = 0, west_ = 1e9, north_ = -1e9;
    int rows_ = 0, columns_ = 0;
};

void projectTerrain(benchmark::State& state, double stepM, double heightM) {
    const Waves terrain(stepM, heightM);
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
void alps30m(benchmark::State& state) {
    projectTerrain(state, 30, 200);
}
void mountains30m(benchmark::State& state) {
    projectTerrain(state, 30, 600);
}
BENCHMARK(hills30m)->ThreadRange(1, 2);
BENCHMARK(hills10m)->ThreadRange(1, 2);
BENCHMARK(alps30m)->ThreadRange(1, 2);
BENCHMARK(mountains30m)->ThreadRange(1, 2);

} // namespace

BENCHMARK_MAIN();
