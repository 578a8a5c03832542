// SPDX-License-Identifier: MIT
#pragma once

// The images that the benchmarks read, made when first asked for and removed at exit, and products
// that they serve. Samples are random.

#include "support/small_products.h"

#include <benchmark/benchmark.h>
#include <gdal.h>
#include <gdal_frmts.h>

#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

inline constexpr int side = 10000;   // pixels
inline constexpr int tileSide = 512; // pixels
inline constexpr std::size_t tilePixels = std::size_t{tileSide} * tileSide;
inline constexpr int tilesPerLine = (side + tileSide - 1) / tileSide;

class Images {
public:
    /// Tiles of 512 x 512, uint16.
    std::string tiled() { return made("tiled_u16.tif", 1, GDT_UInt16, tiles()); }
    /// Tiles of 512 x 512, complex int16.
    std::string complexTiled() { return made("tiled_c16.tif", 1, GDT_CInt16, tiles()); }
    /// Strips of one line, two interleaved bands of int16.
    std::string strips() {
        return made("strips_two_s16.tif", 2, GDT_Int16, {"INTERLEAVE=PIXEL", "BLOCKYSIZE=1"});
    }

    /// Products of one image each.
    std::string detectedProduct() {
        tiled();
        return folder_.write("detected.xml",
                             support::xmlText({"RCM-1", "GRD", "HH", {"tiled_u16.tif"}}));
    }
    std::string complexTiledProduct() {
        complexTiled();
        return folder_.write("complex.json",
                             support::capellaItem("\"SLC\"", "[\"VV\"]", "VV", "tiled_c16.tif"));
    }
    std::string complexStripsProduct() {
        strips();
        return folder_.write("complex.xml",
                             support::xmlText({"RADARSAT-2", "SLC", "HH", {"strips_two_s16.tif"}}));
    }

private:
    using Options = std::vector<const char*>;
    static Options tiles() { return {"TILED=YES", "BLOCKXSIZE=512", "BLOCKYSIZE=512"}; }

    std::string made(const std::string& name, int bands, GDALDataType type, Options options) {
        const std::lock_guard making(lock_);
        const std::string path = folder_ / name;
        if (!std::filesystem::exists(path))
            make(path, bands, type, std::move(options));
        return path;
    }

    static void make(const std::string& path, int bands, GDALDataType type, Options options) {
        GDALRegister_GTiff();
        options.push_back(nullptr);
        const GDALDatasetH file = GDALCreate(GDALGetDriverByName("GTiff"), path.c_str(), side, side,
                                             bands, type, const_cast<char**>(options.data()));
        std::vector<std::uint16_t> line(static_cast<std::size_t>(side) * 2);
        unsigned state = 1;
        for (int y = 0; y < side; ++y) {
            for (auto& part : line)
                part = static_cast<std::uint16_t>((state = state * 1664525U + 1013904223U) >> 16);
            if (GDALDatasetRasterIO(file, GF_Write, 0, y, side, 1, line.data(), side, 1, type,
                                    bands, nullptr, GDALGetDataTypeSizeBytes(type) * bands, 0,
                                    GDALGetDataTypeSizeBytes(type)) != CE_None)
                std::abort();
        }
        GDALClose(file);
    }

    std::mutex lock_;
    support::TemporaryFolder folder_;
};

inline Images& images() {
    static Images made;
    return made;
}

inline void countPixels(benchmark::State& state) {
    state.counters["pixels/s"] =
        benchmark::Counter(static_cast<double>(side) * side / state.threads(),
                           benchmark::Counter::kIsIterationInvariantRate);
}

/// All tiles of the image; with n threads, every n-th tile.
template <class ReadTile>
void forTiles(benchmark::State& state, ReadTile readTile) {
    for ([[maybe_unused]] auto _ : state)
        for (int tile = state.thread_index(); tile < tilesPerLine * tilesPerLine;
             tile += state.threads())
            if (!readTile(tile % tilesPerLine, tile / tilesPerLine))
                return state.SkipWithError("read failed");
    countPixels(state);
}
