#pragma once

// The images that the benchmarks read, made once a run and removed at exit: a tiled one behind a
// detected product, and one of two bands in one-line strips.

#include <gdal.h>
#include <gdal_frmts.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

inline constexpr int side = 10000;   // pixels
inline constexpr int tileSide = 512; // pixels
inline constexpr std::size_t tilePixels = std::size_t{tileSide} * tileSide;
inline constexpr int tilesPerLine = (side + tileSide - 1) / tileSide;

/// The images, made once and removed at exit.
class Images {
public:
    Images()
        : folder_(std::filesystem::temp_directory_path() /
                  ("block_read_bench-" + std::to_string(getpid()))) {
        std::filesystem::create_directories(folder_);
        GDALRegister_GTiff();
        make(tiled(), 1, GDT_UInt16, {"TILED=YES", "BLOCKXSIZE=512", "BLOCKYSIZE=512"});
        std::ofstream(product()) << detectedProduct;
        make(strips(), 2, GDT_Int16, {"INTERLEAVE=PIXEL", "BLOCKYSIZE=1"});
    }
    ~Images() { std::filesystem::remove_all(folder_); }
    Images(const Images&) = delete;
    Images& operator=(const Images&) = delete;

    std::string tiled() const { return folder_ / "tiled_u16.tif"; }
    /// A product of one detected layer that the tiled image serves.
    std::string product() const { return folder_ / "product.xml"; }
    std::string strips() const { return folder_ / "strips_two_s16.tif"; }

private:
    static constexpr char detectedProduct[] =
        "<product><sourceAttributes><satellite>RCM-1</satellite><radarParameters><polarizations>HH"
        "</polarizations></radarParameters></sourceAttributes><imageGenerationParameters>"
        "<generalProcessingInformation><productType>GRD</productType>"
        "</generalProcessingInformation></imageGenerationParameters><sceneAttributes>"
        "<imageAttributes><ipdf pole=\"HH\">tiled_u16.tif</ipdf></imageAttributes>"
        "</sceneAttributes></product>";

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

inline const Images& images() {
    static const Images made;
    return made;
}
