// SPDX-License-Identifier: MIT
#include "kimg/tiff_writer.h"

#include "kimg/dataset_session.h"
#include "kimg/decibel_overviews.h"
#include "kimg/failed_writes.h"
#include "kimg/gdal_session.h"
#include "kimg/new_file.h"

#include <gdal.h>

#include <algorithm>
#include <limits>

namespace kimg {
namespace {

const char* nameOf(TiffCompression compression) {
    switch (compression) {
    case TiffCompression::deflate:
        return "DEFLATE";
    case TiffCompression::lzw:
        return "LZW";
    case TiffCompression::zstd:
        return "ZSTD";
    case TiffCompression::none:
        break;
    }
    return "NONE";
}

void setCreation(Options& options, const TiffLayout& layout) {
    const std::string tileSize = std::to_string(TiffWriter::tileSize);
    options.set("TILED", "YES");
    options.set("BLOCKXSIZE", tileSize);
    options.set("BLOCKYSIZE", tileSize);
    options.set("INTERLEAVE", "BAND");
    options.set("BIGTIFF", "IF_SAFER");
    options.set("COMPRESS", nameOf(layout.compression));
    if (layout.compression == TiffCompression::none)
        return;
    if (!isComplex(layout.type))
        options.set("PREDICTOR", layout.type == SampleType::float32 ? "3" : "2");
    options.set("NUM_THREADS", "ALL_CPUS");
}

std::vector<int> overviewLevels(std::uint32_t width, std::uint32_t height) {
    std::vector<int> levels;
    for (int level = 2; (std::max(width, height) - 1) / static_cast<std::uint32_t>(level / 2) >=
                        TiffWriter::tileSize;
         level *= 2)
        levels.push_back(level);
    return levels;
}

const char* resamplingOf(TiffOverviews kind) {
    switch (kind) {
    case TiffOverviews::meanPower:
        return "RMS";
    case TiffOverviews::mean:
        return "AVERAGE";
    case TiffOverviews::nearest:
        break;
    }
    return "NEAREST";
}

} // namespace

struct TiffWriter::Session {
    explicit Session(const std::string& path) : file(path) {}
    ~Session() { close(); }

    void close() {
        if (dataset)
            GDALClose(dataset);
        dataset = nullptr;
    }
    [[noreturn]] void fail() const {
        throw ImageError(file.told(errors.describe(file.path(), "cannot be written")));
    }

    ErrorCapture errors;
    NoSideCars noSideCars;
    NewFile file;
    GDALDatasetH dataset = nullptr;
    std::vector<GDALRasterBandH> bands;
    std::uint32_t width = 0, height = 0;
};

TiffWriter::TiffWriter(const std::string& path, const TiffLayout& layout) {
    registerDrivers();
    hearFailedWrites();
    session_ = std::make_unique<Session>(path);
    constexpr std::uint32_t longestSide = std::numeric_limits<int>::max();
    if (layout.width == 0 || layout.height == 0 || layout.width > longestSide ||
        layout.height > longestSide || layout.bands.empty())
        throw ImageError(path + ": no TIFF has this size");
    Options options;
    setCreation(options, layout);
    session_->width = layout.width;
    session_->height = layout.height;
    const int bands = static_cast<int>(layout.bands.size());
    session_->dataset =
        GDALCreate(GDALGetDriverByName("GTiff"), session_->file.temporaryPath().c_str(),
                   static_cast<int>(layout.width), static_cast<int>(layout.height), bands,
                   static_cast<GDALDataType>(gdalTypeOf(layout.type)), options.list());
    if (!session_->dataset)
        session_->fail();
    setPlace(session_->dataset, layout.place);
    for (const auto& [key, text] : layout.metadata)
        GDALSetMetadataItem(session_->dataset, key.c_str(), text.c_str(), nullptr);
    for (const TiffBand& about : layout.bands) {
        const int number = static_cast<int>(session_->bands.size()) + 1;
        const GDALRasterBandH band = GDALGetRasterBand(session_->dataset, number);
        GDALSetDescription(band, about.name.c_str());
        if (layout.noData)
            GDALSetRasterNoDataValue(band, *layout.noData);
        if (!about.unit.empty())
            GDALSetRasterUnitType(band, about.unit.c_str());
        session_->bands.push_back(band);
    }
    if (session_->errors.failed())
        session_->fail();
}

TiffWriter::~TiffWriter() = default;

void TiffWriter::writeTile(std::uint32_t band, std::uint32_t tileRow, std::uint32_t tileColumn,
                           void* samples) {
    if (GDALWriteBlock(session_->bands.at(band), static_cast<int>(tileColumn),
                       static_cast<int>(tileRow), samples) != CE_None ||
        session_->errors.failed())
        session_->fail();
}

bool TiffWriter::addOverviews(TiffOverviews kind, const KeepGoing& keepGoing) {
    auto levels = overviewLevels(session_->width, session_->height);
    if (levels.empty())
        return true;
    bool going = true;
    KeepGoing watched = [&](double done) { return going = keepGoing(done); };
    const auto built =
        GDALBuildOverviews(session_->dataset, resamplingOf(kind), static_cast<int>(levels.size()),
                           levels.data(), 0, nullptr, askToKeepGoing, &watched);
    bool whole = built == CE_None;
    for (const GDALRasterBandH band : session_->bands)
        if (going && whole && kind != TiffOverviews::nearest &&
            std::string_view(GDALGetRasterUnitType(band)) == "dB")
            whole = fillDecibelOverviews(band, watched);
    if (going && (!whole || session_->errors.failed()))
        session_->fail();
    return going;
}

void TiffWriter::finish() {
    session_->close();
    if (session_->errors.failed() || !session_->file.putInPlace())
        session_->fail();
}

bool writeCloudOptimized(const std::string& tiff, const std::string& path, TiffOverviews kind,
                         const KeepGoing& keepGoing) {
    const ErrorCapture errors;
    const NoSideCars noSideCars;
    NewFile file(path);
    const std::unique_ptr<void, decltype(&GDALClose)> from(GDALOpen(tiff.c_str(), GA_ReadOnly),
                                                           GDALClose);
    if (!from)
        throw ImageError(errors.describe(path, "cannot be made"));
    Options options;
    options.set("COMPRESS", "DEFLATE");
    if (!GDALDataTypeIsComplex(GDALGetRasterDataType(GDALGetRasterBand(from.get(), 1))))
        options.set("PREDICTOR", "YES");
    options.set("OVERVIEW_RESAMPLING", resamplingOf(kind));
    options.set("NUM_THREADS", "ALL_CPUS");
    options.set("BIGTIFF", "IF_SAFER");
    bool going = true;
    KeepGoing watched = [&](double done) { return going = keepGoing(done); };
    GDALDatasetH made = GDALCreateCopy(GDALGetDriverByName("COG"), file.temporaryPath().c_str(),
                                       from.get(), FALSE, options.list(), askToKeepGoing, &watched);
    if (made)
        GDALClose(made);
    if (!going)
        return false;
    if (!made || errors.failed() || !file.putInPlace())
        throw ImageError(errors.describe(path, "cannot be made"));
    return true;
}

void limitBlockCache(std::size_t bytes) {
    GDALSetCacheMax64(static_cast<GIntBig>(bytes));
}

} // namespace kimg
