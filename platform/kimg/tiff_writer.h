// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/georeferencing.h"
#include "kimg/sample_type.h"
#include "rf_platform_api.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kimg {

enum class TiffCompression { none, deflate, lzw, zstd };

struct TiffBand {
    std::string name;
    std::string unit; ///< "" for none; neighbours in "dB" are averaged by their power
};

/// A GeoTIFF, one plane a band.
struct TiffLayout {
    std::uint32_t width = 0, height = 0;
    SampleType type = SampleType::uint16;
    TiffCompression compression = TiffCompression::none;
    std::vector<TiffBand> bands;
    Georeferencing place;
    std::optional<double> noData; ///< the value that stands for no sample
    std::vector<std::pair<std::string, std::string>> metadata = {}; ///< keys and texts
};

/// How overview pixels are computed.
enum class TiffOverviews {
    meanPower, ///< the square root of the mean square, for magnitudes
    mean,      ///< for values
    nearest,   ///< for phases and complex samples, which have no mean
};

/// Called now and then during long work, with the done part (0..1); returns false to end the work.
using KeepGoing = std::function<bool(double)>;

/// Writes a tiled GeoTIFF tile by tile. The file appears complete or not at all: it is written
/// under another name in the same folder, and `finish` renames it; without `finish` the destructor
/// removes it. An existing file is replaced; nothing is written beside it. A file that may grow
/// beyond 4 GB is a BigTIFF. One thread uses a writer from beginning to end; no printing.
class RF_PLATFORM_API TiffWriter {
public:
    static constexpr std::uint32_t tileSize = 512;
    static constexpr std::size_t tileSamples = std::size_t{tileSize} * tileSize;

    /// @throws std::runtime_error naming the file and the reason, here and below.
    TiffWriter(const std::string& path, const TiffLayout& layout);
    ~TiffWriter();
    TiffWriter(const TiffWriter&) = delete;
    TiffWriter& operator=(const TiffWriter&) = delete;

    /// @param samples  tileSamples of them, line by line; those beyond the image do not count.
    ///        They may be changed.
    void writeTile(std::uint32_t band, std::uint32_t tileRow, std::uint32_t tileColumn,
                   void* samples);
    /// Adds overviews, each half the size of the one before, until one fits a tile. Bands in dB are
    /// averaged in power, unless the kind is nearest.
    /// @return false when keepGoing ended it.
    bool addOverviews(TiffOverviews kind, const KeepGoing& keepGoing);
    void finish();

private:
    struct Session;
    std::unique_ptr<Session> session_;
};

/// Rewrites a tiled GeoTIFF as a cloud optimized one, DEFLATE-compressed, with its own overviews or
/// else new ones of that kind. The file appears complete or not at all.
/// @throws std::runtime_error naming the file and the reason.
/// @return false when keepGoing ended it.
RF_PLATFORM_API bool writeCloudOptimized(const std::string& tiff, const std::string& path,
                                         TiffOverviews kind, const KeepGoing& keepGoing);

/// Bounds the memory of GDAL's block cache in this process.
RF_PLATFORM_API void limitBlockCache(std::size_t bytes);

} // namespace kimg
