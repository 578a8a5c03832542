// SPDX-License-Identifier: MIT
#pragma once

#include "support/temporary_folder.h"

#include <cpl_conv.h>
#include <gdal.h>
#include <gdal_frmts.h>

#include <complex>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace support {

/// An image whose every pixel is known: `sample` is what the file holds, whoever reads it.
struct TestImage {
    int width = 100, height = 70, bands = 1;
    GDALDataType type = GDT_UInt16;
    std::vector<std::string> options = {}; ///< creation options of the GTiff driver
    int seed = 1;                          ///< other images have other pixels

    std::complex<double> sample(int band, int x, int y) const {
        const auto hash = [&](int part) {
            std::uint32_t h = static_cast<std::uint32_t>(((seed * 7 + band) * 2 + part) * 40503 +
                                                         x * 7919 + y * 104729);
            h = (h ^ (h >> 15)) * 2654435761U;
            return h >> 8;
        };
        if (type == GDT_Byte)
            return hash(0) % 256;
        const bool sign = type != GDT_UInt16 && type != GDT_UInt32 && type != GDT_UInt64;
        const auto value = [&](int part) { return hash(part) % 60001 - (sign ? 30000.0 : 0.0); };
        return {value(0), GDALDataTypeIsComplex(type) ? value(1) : 0.0};
    }

    void write(const std::string& path) const {
        GDALRegister_GTiff();
        std::vector<char*> list;
        for (const std::string& option : options)
            list.push_back(const_cast<char*>(option.c_str()));
        list.push_back(nullptr);
        const GDALDatasetH file = GDALCreate(GDALGetDriverByName("GTiff"), path.c_str(), width,
                                             height, bands, type, list.data());
        if (!file)
            throw std::runtime_error("cannot create " + path);
        std::vector<std::complex<double>> line(static_cast<std::size_t>(width));
        for (int band = 1; band <= bands; ++band) {
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x)
                    line[static_cast<std::size_t>(x)] = sample(band, x, y);
                if (GDALRasterIO(GDALGetRasterBand(file, band), GF_Write, 0, y, width, 1,
                                 line.data(), width, 1, GDT_CFloat64, 0, 0) != CE_None)
                    throw std::runtime_error("cannot write " + path);
            }
        }
        GDALClose(file);
    }
};

} // namespace support
