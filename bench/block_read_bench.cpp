// SPDX-License-Identifier: MIT
// Block reads of a 100-megapixel image, page cache warm: this library against GDAL's own calls on
// the same file in the same run. Counters are pixels per second.

#include "bench_images.h"
#include "kimg/kimg.h"
#include "ktxt/ktxt.h"
#include "loader/product.h"

#include <benchmark/benchmark.h>
#include <cpl_conv.h>

#include <array>
#include <cstdio>

namespace {

KIMG_LAYER* openLayer(const std::string& path, int number) {
    kerr::Slot slot;
    KPXM_RECT* fill = kimg_PixelRectCreate(1, 1, kpxmF64);
    KIMG_LAYER* layer =
        kimg_LayerOpen(ktxt::widen(path + '#' + std::to_string(number)), nullptr, slot,
                       kimgReadSharedAnyThread, kimgFillBeyondImage, fill, kgdaLineMajorPacked,
                       kimgWholePixelsThreadSafe, kimgFullResolution, kimgNoOverview);
    kpxm_PixelRectDelete(fill);
    return layer;
}

void tiledGdalReadBlock(benchmark::State& state) {
    const GDALDatasetH file = GDALOpen(images().tiled().c_str(), GA_ReadOnly);
    const GDALRasterBandH band = GDALGetRasterBand(file, 1);
    std::vector<std::uint16_t> tile(tilePixels);
    forTiles(state, [&](int column, int row) {
        return GDALReadBlock(band, column, row, tile.data()) == CE_None;
    });
    GDALClose(file);
}

/// The same tiles as a host reads them: product, layer, block.
void tiledThroughPlugin(benchmark::State& state) {
    const loader::Product product(loader::Plugin::instance(), images().detectedProduct());
    const loader::Layer layer = product.openLayer("C_HH_MAGNITUDE_1");
    std::vector<std::uint16_t> tile(tilePixels);
    forTiles(state, [&](int column, int row) {
        layer.readBlock(static_cast<std::uint32_t>(row), static_cast<std::uint32_t>(column),
                        tile.data());
        return true;
    });
}

void tiledLayerRead(benchmark::State& state) {
    KIMG_LAYER* layer = openLayer(images().tiled(), 1);
    std::vector<std::uint16_t> tile(tilePixels);
    forTiles(state, [&](int column, int row) {
        KGDA_DATA* data = kgda_BaseDataCreate(tileSide, tileSide, kpxmU16, kgdaLineMajorPacked,
                                              tile.data(), nullptr);
        const bool done =
            kimg_LayerRead(layer, std::int64_t{column} * tileSide, std::int64_t{row} * tileSide,
                           tileSide, tileSide, data, nullptr);
        kgda_BaseDataDelete(data);
        return done;
    });
    kimg_LayerClose(layer);
}

/// Real and imaginary part as two interleaved bands, line by line as 32-bit floats.
void stripsGdalRasterIo(benchmark::State& state) {
    const GDALDatasetH file = GDALOpen(images().strips().c_str(), GA_ReadOnly);
    std::vector<float> line(side);
    for ([[maybe_unused]] auto _ : state)
        for (int y = 0; y < side; ++y)
            for (int band = 1; band <= 2; ++band)
                if (GDALRasterIO(GDALGetRasterBand(file, band), GF_Read, 0, y, side, 1, line.data(),
                                 side, 1, GDT_Float32, 0, 0) != CE_None)
                    return state.SkipWithError("read failed");
    countPixels(state);
    GDALClose(file);
}

void stripsLayerRead(benchmark::State& state) {
    const std::array layers{openLayer(images().strips(), 1), openLayer(images().strips(), 2)};
    std::vector<float> line(side);
    const KGDA_DATA data{line.data(), 1, side, kpxmF32, sizeof(float) * side, sizeof(float)};
    for ([[maybe_unused]] auto _ : state)
        for (int y = 0; y < side; ++y)
            for (KIMG_LAYER* layer : layers)
                if (!kimg_LayerRead(layer, 0, y, side, 1, &data, nullptr))
                    return state.SkipWithError("read failed");
    countPixels(state);
    for (KIMG_LAYER* layer : layers)
        kimg_LayerClose(layer);
}

/// The same pixels as packed words.
void stripsPackedWords(benchmark::State& state) {
    KIMG_LAYER* real = openLayer(images().strips(), 1);
    KIMG_LAYER* imaginary = openLayer(images().strips(), 2);
    std::vector<std::uint32_t> line(side);
    for ([[maybe_unused]] auto _ : state)
        for (int y = 0; y < side; ++y)
            if (!kimg::readPackedWords(real, imaginary, 0, y, side, 1, line.data(), nullptr))
                return state.SkipWithError("read failed");
    countPixels(state);
    kimg_LayerClose(real);
    kimg_LayerClose(imaginary);
}

BENCHMARK(tiledGdalReadBlock)->ThreadRange(1, 2)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(tiledThroughPlugin)->ThreadRange(1, 2)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(tiledLayerRead)->ThreadRange(1, 2)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(stripsGdalRasterIo)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(stripsLayerRead)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(stripsPackedWords)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
