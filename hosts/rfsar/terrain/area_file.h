// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/new_file.h"
#include "product/images/raster.h"

#include <memory>
#include <string>

/// What the terrain does to each pixel of an image, in a passing file that is removed with this:
/// larger than memory, written once, then read anywhere. Writes and reads may run on many threads.
class AreaFile {
public:
    enum Plane {
        gammaArea, ///< A_gamma / A_beta; 0 where there is no lit ground
        sigmaArea, ///< A_sigma / A_beta; 0 likewise
        mask,      ///< sum of RtcMask
        planes,
    };

    /// @param beside  a file whose folder has room for it.
    /// @throws loader::Error naming the file and the reason, here and below.
    AreaFile(const std::string& beside, std::uint32_t width, std::uint32_t height);
    ~AreaFile();
    AreaFile(const AreaFile&) = delete;
    AreaFile& operator=(const AreaFile&) = delete;

    std::uint32_t width() const { return width_; }
    std::uint32_t height() const { return height_; }

    /// Writes lines, each once, in any order and on any thread.
    /// @param values  of each line, all planes, one after the other.
    void write(const float* values, std::uint32_t firstLine, std::uint32_t lines);

    /// Reads part of one line.
    void read(Plane plane, std::uint32_t line, std::uint32_t column, std::uint32_t count,
              float* values) const;

private:
    [[noreturn]] void fail(const char* what) const;

    kimg::NewFile name_;
    std::uint32_t width_, height_;
    int file_ = -1;
};

/// A plane as an image; the file must outlive it.
class PlaneRaster final : public product::Raster {
public:
    PlaneRaster(const AreaFile& file, AreaFile::Plane plane);
    void readBlock(std::uint32_t row, std::uint32_t column, void* samples) const override;

private:
    const AreaFile& file_;
    AreaFile::Plane plane_;
};

/// Another image where there is lit ground, and 0 elsewhere; or just 1 where there is lit ground.
class LitRaster final : public product::Raster {
public:
    /// @param image  of the file's size, float32; null for ones. All must outlive this.
    LitRaster(const AreaFile& file, const product::Raster* image);
    void readBlock(std::uint32_t row, std::uint32_t column, void* samples) const override;

private:
    const AreaFile& file_;
    const product::Raster* image_;
};
