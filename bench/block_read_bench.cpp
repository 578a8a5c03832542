// Block reads of a 100-megapixel image, page cache warm: this library against GDAL's own calls on
// the same file in the same run. Counters are pixels per second.

#include "kimg/kimg.h"
#include "ktxt/ktxt.h"

#include <benchmark/benchmark.h>
#include <cpl_conv.h>
#include <gdal.h>
#include <gdal_frmts.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

constexpr int side = 10000;   // pixels
constexpr int tileSide = 512; // pixels
constexpr std::size_t tilePixels = std::size_t{tileSide} * tileSide;
constexpr int tilesPerLine = (side + tileSide - 1) / tileSide;

/// The images, made once and removed at exit.
class Images {
public:
    Images()
        : folder_(std::filesystem::temp_directory_path() /
                  ("block_read_bench-" + std::to_string(getpid()))) {
        std::filesystem::create_directories(folder_);
        GDALRegister_GTiff();
        make(tiled(), 1, GDT_UInt16, {"TILED=YES", "BLOCKXSIZE=512", "BLOCKYSIZE=512"});
        make(strips(), 2, GDT_Int16, {"INTERLEAVE=PIXEL", "BLOCKYSIZE=1"});
    }
    ~Images() { std::filesystem::remove_all(folder_); }
    Images(const Images&) = delete;
    Images& operator=(const Images&) = delete;

    std::string tiled() const { return folder_ / "tiled_u16.tif"; }
    std::string strips() const { return folder_ / "strips_two_s16.tif"; }

private:
    static void make(const std::string& path, int bands, GDALDataType type,
                     std::vector<const char*> options) {
        options.push_back(nullptr);
        const GDALDatasetH file = GDALCreate(GDALGetDriverByName("GTiff"), path.c_str(), side, side,
                                             bands, type, const_cast<char**>(options.data()));
        std::vector<std::uint16_t> line(static_cast<std::size_t>(side) * bands);
        unsigned state = 1;
        for (int y = 0; y < side; ++y) {
            for (auto& pixel : line)
                pixel = static_cast<std::uint16_t>((state = state * 1664525U + 1013904223U) >> 16);
            if (GDALDatasetRasterIO(file, GF_Write, 0, y, side, 1, line.data(), side, 1, type,
                                    bands, nullptr, 0, 0, 0) != CE_None)
                std::abort();
        }
        GDALClose(file);
    }

    std::filesystem::path folder_;
};

const Images& images() {
    static const Images made;
    return made;
}

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

void countPixels(benchmark::State& state) {
    state.counters["pixels/s"] =
        benchmark::Counter(static_cast<double>(side) * side / state.threads(),
                           benchmark::Counter::kIsIterationInvariantRate);
}

/// All tiles of the image, each into the same buffer; with n threads, every n-th tile.
template <class ReadTile>
void forTiles(benchmark::State& state, ReadTile readTile) {
    for ([[maybe_unused]] auto _ : state)
        for (int tile = state.thread_index(); tile < tilesPerLine * tilesPerLine;
             tile += state.threads())
            if (!readTile(tile % tilesPerLine, tile / tilesPerLine))
                return state.SkipWithError("read failed");
    countPixels(state);
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
    KIMG_LAYER* const layers[] = {openLayer(images().strips(), 1), openLayer(images().strips(), 2)};
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
BENCHMARK(tiledLayerRead)->ThreadRange(1, 2)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(stripsGdalRasterIo)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(stripsLayerRead)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(stripsPackedWords)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    images();
    benchmark::RunSpecifiedBenchmarks();
}
