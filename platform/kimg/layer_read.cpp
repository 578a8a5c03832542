// SPDX-License-Identifier: MIT
#include "kimg/kimg.h"
#include "kimg/layer.h"
#include "kimg/pixel_copy.h"

#include <gdal.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

namespace {

using kimg::ImageError;

/// Pixels [first, end) of one axis.
struct Span {
    std::int64_t first = 0;
    std::int64_t end = 0;
    std::int64_t count() const { return end - first; }
};

/// @return the part of a window's axis that lies in the image; empty at 0 when none does.
Span clip(std::int64_t first, std::int64_t count, std::int64_t size) {
    if (first >= size || first <= -count)
        return {};
    return {std::max<std::int64_t>(first, 0), std::min(first + count, size)};
}

/// A buffer for pixels, kept by the thread for its next read unless it is large.
class Scratch {
public:
    ~Scratch() {
        if (bytes().size() > keptBytes)
            std::vector<std::byte>().swap(bytes());
    }
    std::byte* ofSize(std::size_t size) {
        if (bytes().size() < size)
            bytes().resize(size);
        return bytes().data();
    }

private:
    static constexpr std::size_t keptBytes = std::size_t{64} << 20;
    static std::vector<std::byte>& bytes() {
        thread_local std::vector<std::byte> kept;
        return kept;
    }
};

/// One call of kimg_LayerRead.
class WindowRead {
public:
    WindowRead(const KIMG_LAYER& layer, std::int64_t x, std::int64_t y, const KGDA_DATA& data)
        : layer_(layer), data_(data), x_(x), y_(y), columns_(clip(x, data.columns, layer.width)),
          lines_(clip(y, data.lines, layer.height)),
          target_(kimg::targetType(data.pixelType, static_cast<int>(data.pixelStride),
                                   layer.storedType == GDT_CInt16 && !layer.imaginary)),
          storedSize_(GDALGetDataTypeSizeBytes(static_cast<GDALDataType>(layer.storedType))) {}

    /// Reads the part inside the image and fills the rest.
    void run();

private:
    bool empty() const { return columns_.count() == 0 || lines_.count() == 0; }
    bool isForThisLayerAlone() const;
    bool readBlocks(GDALRasterBandH band);
    bool readOneBlock(GDALRasterBandH band, std::int64_t column, std::int64_t line);
    bool fitsBuffer(const Span& columns, const Span& lines) const;
    bool readAnyWindow(GDALRasterBandH band);
    bool readThroughScratch(GDALRasterBandH band);
    bool rasterIo(GDALRasterBandH band, const Span& lines, void* to, int type,
                  std::int64_t pixelStride, std::int64_t lineStride) const;
    void copyLine(const std::byte* stored, const Span& columns, std::int64_t line) const;
    void fillOutside() const;
    void fill(std::int64_t line, std::int64_t first, std::int64_t end) const;

    /// @return the address of an image pixel in the caller's buffer.
    std::byte* at(std::int64_t column, std::int64_t line) const {
        return static_cast<std::byte*>(data_.buffer) + (line - y_) * data_.lineStride +
               (column - x_) * data_.pixelStride;
    }

    const KIMG_LAYER& layer_;
    const KGDA_DATA& data_;
    std::int64_t x_, y_;
    Span columns_, lines_; // the part inside the image
    kimg::TargetType target_;
    int storedSize_;
    Scratch scratch_;
};

void WindowRead::run() {
    if (!empty()) {
        kimg::DatasetLease lease(layer_.file);
        const GDALRasterBandH band = GDALGetRasterBand(lease.handle(), layer_.band);
        // GDAL reports a zip member that does not unpack, but reads it all the same.
        const bool read = isForThisLayerAlone() ? readBlocks(band) : readAnyWindow(band);
        if (!read || lease.failed())
            lease.fail();
    }
    fillOutside();
}

/// @return whether the window covers its blocks completely, so that the cache would not help.
bool WindowRead::isForThisLayerAlone() const {
    const auto whole = [](const Span& span, int block, int size) {
        return span.first % block == 0 && (span.end % block == 0 || span.end == size);
    };
    return !layer_.interleaved && whole(columns_, layer_.blockWidth, layer_.width) &&
           whole(lines_, layer_.blockHeight, layer_.height);
}

/// Bypasses GDAL's block cache.
bool WindowRead::readBlocks(GDALRasterBandH band) {
    for (auto line = lines_.first; line < lines_.end; line += layer_.blockHeight)
        for (auto column = columns_.first; column < columns_.end; column += layer_.blockWidth)
            if (!readOneBlock(band, column, line))
                return false;
    return true;
}

bool WindowRead::readOneBlock(GDALRasterBandH band, std::int64_t column, std::int64_t line) {
    const Span columns{column, column + layer_.blockWidth};
    const Span lines{line, line + layer_.blockHeight};
    const bool direct = fitsBuffer(columns, lines);
    const auto blockBytes = static_cast<std::size_t>(columns.count() * lines.count() * storedSize_);
    std::byte* block = direct ? at(column, line) : scratch_.ofSize(blockBytes);
    if (GDALReadBlock(band, static_cast<int>(column / layer_.blockWidth),
                      static_cast<int>(line / layer_.blockHeight), block) != CE_None)
        return false;
    if (direct)
        return true;
    const Span inside{column, std::min(columns.end, columns_.end)};
    for (auto l = line; l < std::min(lines.end, lines_.end); ++l)
        copyLine(block + (l - line) * columns.count() * storedSize_, inside, l);
    return true;
}

/// @return whether a whole block, including its part beyond the image, can be read in place.
bool WindowRead::fitsBuffer(const Span& columns, const Span& lines) const {
    return layer_.storedAsIs && data_.pixelType == layer_.pixelType &&
           data_.pixelStride == storedSize_ &&
           (data_.lineStride == columns.count() * storedSize_ || lines.count() == 1) &&
           columns.end <= x_ + data_.columns && lines.end <= y_ + data_.lines;
}

/// Reads through GDAL's block cache, because the rest of the blocks is often requested next.
bool WindowRead::readAnyWindow(GDALRasterBandH band) {
    if (layer_.imaginary || layer_.signedByte || target_.type == GDT_Unknown)
        return readThroughScratch(band);
    return rasterIo(band, lines_, at(columns_.first, lines_.first), target_.type, data_.pixelStride,
                    data_.lineStride);
}

bool WindowRead::readThroughScratch(GDALRasterBandH band) {
    constexpr std::int64_t chunkBytes = 4 << 20;
    const std::int64_t lineBytes = columns_.count() * storedSize_;
    const std::int64_t chunk = std::max<std::int64_t>(1, chunkBytes / lineBytes);
    std::byte* stored =
        scratch_.ofSize(static_cast<std::size_t>(std::min(chunk, lines_.count()) * lineBytes));
    for (auto line = lines_.first; line < lines_.end; line += chunk) {
        const Span lines{line, std::min(line + chunk, lines_.end)};
        if (!rasterIo(band, lines, stored, layer_.storedType, storedSize_, lineBytes))
            return false;
        for (auto l = lines.first; l < lines.end; ++l)
            copyLine(stored + (l - line) * lineBytes, columns_, l);
    }
    return true;
}

bool WindowRead::rasterIo(GDALRasterBandH band, const Span& lines, void* to, int type,
                          std::int64_t pixelStride, std::int64_t lineStride) const {
    const int width = static_cast<int>(columns_.count());
    const int height = static_cast<int>(lines.count());
    return GDALRasterIOEx(band, GF_Read, static_cast<int>(columns_.first),
                          static_cast<int>(lines.first), width, height, to, width, height,
                          static_cast<GDALDataType>(type), pixelStride, lineStride,
                          nullptr) == CE_None;
}

/// Converts stored pixels of the given columns into a line of the buffer.
void WindowRead::copyLine(const std::byte* stored, const Span& columns, std::int64_t line) const {
    kimg::StoredPixels from{stored, layer_.storedType, layer_.signedByte, storedSize_};
    if (layer_.imaginary) {
        from.first = stored + storedSize_ / 2;
        from.type = GDALGetNonComplexDataType(static_cast<GDALDataType>(layer_.storedType));
    }
    kimg::copyPixels(from, at(columns.first, line), target_,
                     static_cast<std::size_t>(columns.count()));
}

void WindowRead::fillOutside() const {
    const std::int64_t right = x_ + data_.columns, bottom = y_ + data_.lines;
    if (columns_.count() == data_.columns && lines_.count() == data_.lines)
        return;
    for (auto line = y_; line < bottom; ++line) {
        if (empty() || line < lines_.first || line >= lines_.end) {
            fill(line, x_, right);
        } else {
            fill(line, x_, columns_.first);
            fill(line, columns_.end, right);
        }
    }
}

void WindowRead::fill(std::int64_t line, std::int64_t first, std::int64_t end) const {
    if (first < end)
        kimg::copyPixels({&layer_.fill, GDT_Float64, false, 0}, at(first, line), target_,
                         static_cast<std::size_t>(end - first));
}

void requireReadable(const KIMG_LAYER* layer, std::int64_t x, std::int64_t y, std::uint32_t w,
                     std::uint32_t h, const KGDA_DATA* data) {
    const auto require = [](bool good, const char* complaint) {
        if (!good)
            throw ImageError(complaint);
    };
    constexpr std::int64_t farthest = std::numeric_limits<std::int64_t>::max() / 4;
    require(layer != nullptr, "there is no layer to read");
    require(data && data->buffer, "there is no data to read into");
    require(kpxm::pixelSize(data->pixelType) != 0, "the data has no known pixel type");
    require(data->columns == w && data->lines == h, "the data has another size than the window");
    require(data->pixelStride >= std::numeric_limits<int>::min() &&
                data->pixelStride <= std::numeric_limits<int>::max(),
            "the data's pixels lie too far apart");
    require(x > -farthest && x < farthest && y > -farthest && y < farthest,
            "the window lies too far from the image");
}

void zero(const KGDA_DATA& data) {
    const std::size_t size = kpxm::pixelSize(data.pixelType);
    auto* line = static_cast<std::byte*>(data.buffer);
    for (std::uint32_t l = 0; l < data.lines; ++l, line += data.lineStride) {
        std::byte* pixel = line;
        for (std::uint32_t c = 0; c < data.columns; ++c, pixel += data.pixelStride)
            std::memset(pixel, 0, size);
    }
}

} // namespace

bool kimg_LayerRead(KIMG_LAYER* layer, std::int64_t x, std::int64_t y, std::uint32_t w,
                    std::uint32_t h, const KGDA_DATA* data, KERR_REPORT** slot) {
    const bool done = kerr::reported("kimg_LayerRead", slot, [&] {
        requireReadable(layer, x, y, w, h, data);
        try {
            WindowRead(*layer, x, y, *data).run();
        } catch (const std::bad_alloc&) {
            throw ImageError(layer->file.path + ": too little memory to read " +
                             std::to_string(w) + " x " + std::to_string(h) + " pixels");
        }
        return true;
    });
    if (!done && data && data->buffer)
        zero(*data);
    return done;
}
