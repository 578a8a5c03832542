// SPDX-License-Identifier: MIT
#include "terrain/area_file.h"

#include "loader/plugin.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr std::uint32_t wide = 1024, tall = 32; // blocks

} // namespace

AreaFile::AreaFile(const std::string& beside, std::uint32_t width, std::uint32_t height)
    : name_(beside), width_(width), height_(height),
      file_(open(name_.temporaryPath().c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600)) {
    if (file_ < 0)
        fail("cannot be written");
}

AreaFile::~AreaFile() {
    if (file_ >= 0)
        close(file_);
}

void AreaFile::fail(const char* what) const {
    throw loader::Error(name_.temporaryPath() + ", which holds areas while they are computed, " +
                        what + ": " + std::strerror(errno));
}

void AreaFile::write(const float* values, std::uint32_t firstLine, std::uint32_t lines) {
    const auto* bytes = reinterpret_cast<const char*>(values);
    const std::size_t lineBytes = sizeof(float) * planes * width_;
    std::size_t left = lineBytes * lines;
    auto at = static_cast<off_t>(lineBytes * firstLine);
    while (left > 0) {
        const ssize_t written = pwrite(file_, bytes, left, at);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            fail("cannot be written");
        bytes += written;
        at += written;
        left -= static_cast<std::size_t>(written);
    }
}

void AreaFile::read(Plane plane, std::uint32_t line, std::uint32_t column, std::uint32_t count,
                    float* values) const {
    auto* bytes = reinterpret_cast<char*>(values);
    std::size_t left = count * sizeof(float);
    auto at = static_cast<off_t>(((std::size_t{line} * planes + plane) * width_ + column) *
                                 sizeof(float));
    while (left > 0) {
        const ssize_t got = pread(file_, bytes, left, at);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            fail("cannot be read");
        bytes += got;
        at += got;
        left -= static_cast<std::size_t>(got);
    }
}

PlaneRaster::PlaneRaster(const AreaFile& file, AreaFile::Plane plane)
    : Raster(nullptr, {"", "", "", Quantity::power, kimg::SampleType::float32, file.width(),
                       file.height(), wide, tall}),
      file_(file), plane_(plane) {}

void PlaneRaster::readBlock(std::uint32_t row, std::uint32_t column, void* samples) const {
    auto* values = static_cast<float*>(samples);
    std::fill_n(values, std::size_t{blockWidth()} * blockHeight(), 0.0F);
    const std::uint32_t x = column * blockWidth(), y = row * blockHeight();
    const std::uint32_t across = std::min(blockWidth(), width() - x);
    for (std::uint32_t line = 0; line < std::min(blockHeight(), height() - y); ++line)
        file_.read(plane_, y + line, x, across, values + std::size_t{line} * blockWidth());
}

LitRaster::LitRaster(const AreaFile& file, const product::Raster* image)
    : Raster(nullptr,
             {"", "", "", Quantity::power, kimg::SampleType::float32, file.width(), file.height(),
              image ? image->blockWidth() : wide, image ? image->blockHeight() : tall}),
      file_(file), image_(image) {}

void LitRaster::readBlock(std::uint32_t row, std::uint32_t column, void* samples) const {
    auto* values = static_cast<float*>(samples);
    if (image_)
        image_->readBlock(row, column, samples);
    else
        std::fill_n(values, std::size_t{blockWidth()} * blockHeight(), 1.0F);
    const std::uint32_t x = column * blockWidth(), y = row * blockHeight();
    const std::uint32_t across = std::min(blockWidth(), width() - x);
    thread_local std::vector<float> areas;
    areas.resize(std::max<std::size_t>(areas.size(), across));
    for (std::uint32_t line = 0; line < std::min(blockHeight(), height() - y); ++line) {
        float* at = values + std::size_t{line} * blockWidth();
        file_.read(AreaFile::gammaArea, y + line, x, across, areas.data());
        for (std::uint32_t i = 0; i < across; ++i)
            if (!(areas[i] > 0) || !std::isfinite(at[i]))
                at[i] = 0;
    }
}
