// SPDX-License-Identifier: MIT
// Blocks of complex layers through the plug-in, page cache warm: tiles of one complex band against
// libtiff's decoding alone, and lines of two interleaved bands against the straightforward way, in
// the same run. Counters are pixels per second.

#include "bench_images.h"
#include "loader/product.h"

#include <benchmark/benchmark.h>
#include <tiffio.h>

#include <cmath>
#include <memory>

namespace {

/// Every tile into the same buffer, decoded and not converted. The file is opened for every pass:
/// libtiff maps it, and a second pass over the same mapping would only measure a copy.
void tilesLibtiffDecode(benchmark::State& state) {
    const std::string path = images().complexTiled();
    std::vector<std::uint32_t> tile(tilePixels);
    for ([[maybe_unused]] auto _ : state) {
        const std::unique_ptr<TIFF, decltype(&TIFFClose)> file(TIFFOpen(path.c_str(), "r"),
                                                               &TIFFClose);
        for (int n = state.thread_index(); n < tilesPerLine * tilesPerLine; n += state.threads())
            if (TIFFReadEncodedTile(file.get(), static_cast<std::uint32_t>(n), tile.data(),
                                    static_cast<tmsize_t>(tilePixels * 4)) < 0)
                return state.SkipWithError("read failed");
    }
    countPixels(state);
}

void tilesThroughPlugin(benchmark::State& state, const char* name) {
    const loader::Product product(loader::Plugin::instance(), images().complexTiledProduct());
    const loader::Layer layer = product.openLayer(name);
    std::vector<std::uint16_t> tile(tilePixels);
    forTiles(state, [&](int column, int row) {
        layer.readBlock(static_cast<std::uint32_t>(row), static_cast<std::uint32_t>(column),
                        tile.data());
        return true;
    });
}

/// The rule as one would write it down.
template <bool isPhase>
std::uint16_t convert(double real, double imaginary) {
    const double value = isPhase ? std::atan2(imaginary, real) * 10430.3783505
                                 : std::sqrt(real * real + imaginary * imaginary);
    return static_cast<std::uint16_t>(static_cast<std::int32_t>(value + 0.5));
}

/// Two reads of floats for each line, and the rule sample by sample.
template <bool isPhase>
void linesStraightforward(benchmark::State& state) {
    const GDALDatasetH file = GDALOpen(images().strips().c_str(), GA_ReadOnly);
    std::vector<float> parts[2] = {std::vector<float>(side), std::vector<float>(side)};
    std::vector<std::uint16_t> line(side);
    for ([[maybe_unused]] auto _ : state)
        for (int y = 0; y < side; ++y) {
            for (int band = 0; band < 2; ++band)
                if (GDALRasterIO(GDALGetRasterBand(file, band + 1), GF_Read, 0, y, side, 1,
                                 parts[band].data(), side, 1, GDT_Float32, 0, 0) != CE_None)
                    return state.SkipWithError("read failed");
            for (std::size_t x = 0; x < line.size(); ++x)
                line[x] = convert<isPhase>(parts[0][x], parts[1][x]);
            benchmark::DoNotOptimize(line.data());
        }
    countPixels(state);
    GDALClose(file);
}

void linesThroughPlugin(benchmark::State& state, const char* name) {
    const loader::Product product(loader::Plugin::instance(), images().complexStripsProduct());
    const loader::Layer layer = product.openLayer(name);
    std::vector<std::uint16_t> line(side);
    for ([[maybe_unused]] auto _ : state)
        for (std::uint32_t y = 0; y < side; ++y)
            layer.readBlock(y, 0, line.data());
    countPixels(state);
}

BENCHMARK(tilesLibtiffDecode)->ThreadRange(1, 2)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(tilesThroughPlugin, magnitude, "X_VV_MAGNITUDE_1")
    ->ThreadRange(1, 2)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(tilesThroughPlugin, phase, "X_VV_PHASE_2")
    ->ThreadRange(1, 2)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(linesStraightforward, false)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(linesStraightforward, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(linesThroughPlugin, magnitude, "C_HH_MAGNITUDE_1")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(linesThroughPlugin, phase, "C_HH_PHASE_2")->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
