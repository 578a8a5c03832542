#include "kimg/tiff_writer.h"

#include "kimg/gdal_session.h"
#include "kimg/new_file.h"

#include <cpl_conv.h>
#include <cpl_string.h>
#include <gdal.h>
#include <ogr_srs_api.h>

#include <algorithm>
#include <limits>

namespace kimg {
namespace {

/// GDAL's list of "NAME=value" texts.
class Options {
public:
    Options() = default;
    ~Options() { CSLDestroy(list_); }
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;

    void set(const char* name, const std::string& value) {
        list_ = CSLSetNameValue(list_, name, value.c_str());
    }
    char** list() const { return list_; }

private:
    char** list_ = nullptr;
};

struct SystemRelease {
    void operator()(void* system) const { OSRRelease(static_cast<OGRSpatialReferenceH>(system)); }
};
using System = std::unique_ptr<void, SystemRelease>;

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
    options.set("PREDICTOR", "2");
    options.set("NUM_THREADS", "ALL_CPUS");
}

System systemOf(const std::string& wkt) {
    System system(OSRNewSpatialReference(nullptr));
    std::string text = wkt;
    char* read = text.data();
    if (wkt.empty() || OSRImportFromWkt(system.get(), &read) != OGRERR_NONE)
        return nullptr;
    OSRSetAxisMappingStrategy(system.get(), OAMS_TRADITIONAL_GIS_ORDER);
    return system;
}

void setGcps(GDALDatasetH dataset, const Georeferencing& place, OGRSpatialReferenceH system) {
    std::vector<GDAL_GCP> gcps(place.gcps.size());
    std::vector<std::string> ids(place.gcps.size());
    std::string noInfo;
    for (std::size_t i = 0; i < gcps.size(); ++i) {
        const GroundControlPoint& point = place.gcps[i];
        ids[i] = std::to_string(i + 1);
        gcps[i] = {ids[i].data(), noInfo.data(), point.pixel, point.line,
                   point.x,       point.y,       point.z};
    }
    GDALSetGCPs2(dataset, static_cast<int>(gcps.size()), gcps.data(), system);
}

void setPlace(GDALDatasetH dataset, const Georeferencing& place) {
    const System system = systemOf(place.wkt);
    if (place.geoTransform) {
        auto transform = *place.geoTransform;
        GDALSetGeoTransform(dataset, transform.data());
        if (system)
            GDALSetSpatialRef(dataset, system.get());
    } else if (!place.gcps.empty()) {
        setGcps(dataset, place, system.get());
    }
    Options rpc;
    for (const auto& [name, text] : place.rpc)
        rpc.set(name.c_str(), text);
    if (rpc.list())
        GDALSetMetadata(dataset, rpc.list(), "RPC");
}

std::vector<int> overviewLevels(std::uint32_t width, std::uint32_t height) {
    std::vector<int> levels;
    for (int level = 2; (std::max(width, height) - 1) / static_cast<std::uint32_t>(level / 2) >=
                        TiffWriter::tileSize;
         level *= 2)
        levels.push_back(level);
    return levels;
}

int CPL_STDCALL askToKeepGoing(double done, const char*, void* keepGoing) {
    return (*static_cast<const KeepGoing*>(keepGoing))(done) ? TRUE : FALSE;
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
        throw ImageError(errors.describe(file.path(), "cannot be written"));
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
    session_ = std::make_unique<Session>(path);
    constexpr std::uint32_t longestSide = std::numeric_limits<int>::max();
    if (layout.width == 0 || layout.height == 0 || layout.width > longestSide ||
        layout.height > longestSide || layout.bandNames.empty())
        throw ImageError(path + ": no TIFF has this size");
    Options options;
    setCreation(options, layout);
    session_->width = layout.width;
    session_->height = layout.height;
    const int bands = static_cast<int>(layout.bandNames.size());
    session_->dataset =
        GDALCreate(GDALGetDriverByName("GTiff"), session_->file.temporaryPath().c_str(),
                   static_cast<int>(layout.width), static_cast<int>(layout.height), bands,
                   layout.isSigned ? GDT_Int16 : GDT_UInt16, options.list());
    if (!session_->dataset)
        session_->fail();
    setPlace(session_->dataset, layout.place);
    for (int band = 1; band <= bands; ++band) {
        session_->bands.push_back(GDALGetRasterBand(session_->dataset, band));
        GDALSetDescription(session_->bands.back(),
                           layout.bandNames[static_cast<std::size_t>(band - 1)].c_str());
    }
    if (session_->errors.failed())
        session_->fail();
}

TiffWriter::~TiffWriter() = default;

void TiffWriter::writeTile(std::uint32_t band, std::uint32_t tileRow, std::uint32_t tileColumn,
                           std::uint16_t* samples) {
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
    const auto built = GDALBuildOverviews(
        session_->dataset, kind == TiffOverviews::meanPower ? "RMS" : "NEAREST",
        static_cast<int>(levels.size()), levels.data(), 0, nullptr, askToKeepGoing, &watched);
    if (going && (built != CE_None || session_->errors.failed()))
        session_->fail();
    return going;
}

void TiffWriter::finish() {
    session_->close();
    if (session_->errors.failed() || !session_->file.putInPlace())
        session_->fail();
}

void limitBlockCache(std::size_t bytes) {
    GDALSetCacheMax64(static_cast<GIntBig>(bytes));
}

} // namespace kimg
