// SPDX-License-Identifier: MIT
#include "kimg/kimg.h"
#include "kimg/layer.h"

#include <cpl_vsi.h>
#include <gdal.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>

namespace {

using kimg::ImageError;

static_assert(std::endian::native == std::endian::little);

/// A window inside the image, and the destination of its words.
struct Window {
    std::int64_t x, y, w, h;
    std::uint32_t* words;
};

bool isInside(const KIMG_LAYER& layer, const Window& window) {
    return window.w > 0 && window.h > 0 && window.x >= 0 && window.y >= 0 &&
           window.x <= layer.width - window.w && window.y <= layer.height - window.h;
}

/// @return whether the file stores packed words: two interleaved bands of 16-bit integers, in this
///         machine's byte order.
bool holdsPackedWords(kimg::OpenImage& image) {
    constexpr const char* domain = "IMAGE_STRUCTURE";
    const GDALDatasetH dataset = image.dataset;
    const char* interleave = GDALGetMetadataItem(dataset, "INTERLEAVE", domain);
    auto* file = static_cast<VSILFILE*>(image.bytes());
    char order[2] = {};
    return GDALGetRasterCount(dataset) == 2 && interleave &&
           std::strcmp(interleave, "PIXEL") == 0 &&
           !GDALGetMetadataItem(dataset, "COMPRESSION", domain) &&
           std::strcmp(GDALGetDriverShortName(GDALGetDatasetDriver(dataset)), "GTiff") == 0 &&
           file && VSIFSeekL(file, 0, SEEK_SET) == 0 && VSIFReadL(order, 2, 1, file) == 1 &&
           order[0] == 'I' && order[1] == 'I';
}

/// @return the offset of a block in the file; 0 when it is not stored (it then reads as nodata).
std::uint64_t blockOffset(GDALRasterBandH band, std::int64_t column, std::int64_t row) {
    const std::string item = "BLOCK_OFFSET_" + std::to_string(column) + '_' + std::to_string(row);
    const char* text = GDALGetMetadataItem(band, item.c_str(), "TIFF");
    std::uint64_t offset = 0;
    if (text)
        std::from_chars(text, text + std::strlen(text), offset);
    return offset;
}

bool readBytes(VSILFILE* file, std::uint64_t offset, void* to, std::int64_t count) {
    return VSIFSeekL(file, offset, SEEK_SET) == 0 &&
           VSIFReadL(to, 1, static_cast<std::size_t>(count), file) ==
               static_cast<std::size_t>(count);
}

/// Reads the part of a window that one block holds.
/// @return false when the block is not in the file.
/// @throws ImageError when the file ends too early.
bool readPart(const KIMG_LAYER& layer, kimg::DatasetLease& lease, const Window& window,
              std::int64_t column, std::int64_t row) {
    const std::uint64_t start =
        blockOffset(GDALGetRasterBand(lease.handle(), layer.band), column, row);
    if (start == 0)
        return false;
    const std::int64_t blockX = column * layer.blockWidth, blockY = row * layer.blockHeight;
    const auto x = std::max(window.x, blockX);
    const auto width = std::min(window.x + window.w, blockX + layer.blockWidth) - x;
    const auto y = std::max(window.y, blockY);
    const auto height = std::min(window.y + window.h, blockY + layer.blockHeight) - y;
    // Lines that are contiguous in file and buffer are read at once.
    const auto step = width == layer.blockWidth && width == window.w ? height : 1;
    for (auto line = y; line < y + height; line += step) {
        const auto inBlock = (line - blockY) * layer.blockWidth + x - blockX;
        const auto inWindow = (line - window.y) * window.w + x - window.x;
        if (!readBytes(static_cast<VSILFILE*>(lease.image().bytes()),
                       start + static_cast<std::uint64_t>(inBlock) * sizeof(std::uint32_t),
                       window.words + inWindow, width * step * 4))
            lease.fail("the file ends before its pixels do");
    }
    return true;
}

bool readFromFile(const KIMG_LAYER& layer, kimg::DatasetLease& lease, const Window& window) {
    const auto lastColumn = (window.x + window.w - 1) / layer.blockWidth;
    const auto lastRow = (window.y + window.h - 1) / layer.blockHeight;
    for (auto row = window.y / layer.blockHeight; row <= lastRow; ++row)
        for (auto column = window.x / layer.blockWidth; column <= lastColumn; ++column)
            if (!readPart(layer, lease, window, column, row))
                return false;
    if (lease.failed())
        lease.fail();
    return true;
}

bool tryFromFile(const KIMG_LAYER& real, const KIMG_LAYER& imaginary, const Window& window) {
    if (real.file != imaginary.file || real.band != 1 || imaginary.band != 2 ||
        !isInside(real, window))
        return false;
    kimg::DatasetLease lease(real.file);
    return holdsPackedWords(lease.image()) && readFromFile(real, lease, window);
}

void requireParts(const KIMG_LAYER* real, const KIMG_LAYER* imaginary, const void* words) {
    if (!real || !imaginary || !words)
        throw ImageError("there is no layer to read, or nothing to read into");
    if (real->pixelType != kpxmS16 || imaginary->pixelType != kpxmS16)
        throw ImageError(real->file.path + ": the two parts are not 16-bit integers");
}

} // namespace

namespace kimg {

bool readPackedWords(KIMG_LAYER* real, KIMG_LAYER* imaginary, std::int64_t x, std::int64_t y,
                     std::uint32_t w, std::uint32_t h, std::uint32_t* words, KERR_REPORT** slot) {
    const bool done = kerr::reported("kimg::readPackedWords", slot, [&] {
        requireParts(real, imaginary, words);
        if (tryFromFile(*real, *imaginary, {x, y, w, h, words}))
            return true;
        const auto lineStride = static_cast<std::ptrdiff_t>(w) * 4;
        auto* halves = reinterpret_cast<std::int16_t*>(words);
        const KGDA_DATA low{halves, h, w, kpxmS16, lineStride, 4};
        const KGDA_DATA high{halves + 1, h, w, kpxmS16, lineStride, 4};
        return kimg_LayerRead(real, x, y, w, h, &low, slot) &&
               kimg_LayerRead(imaginary, x, y, w, h, &high, slot);
    });
    if (!done && words)
        std::fill_n(words, static_cast<std::size_t>(w) * h, 0U);
    return done;
}

} // namespace kimg
