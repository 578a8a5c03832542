#include "kimg/geocoder.h"

#include "kimg/dataset_session.h"
#include "kimg/gdal_session.h"
#include "kimg/new_file.h"

#include <gdal_priv.h>
#include <gdal_utils.h>

#include <algorithm>
#include <exception>

namespace kimg {
namespace {

/// The source as GDAL's warper reads it.
class SourceBand final : public GDALRasterBand {
public:
    SourceBand(GDALDataset* dataset, const TileSource& source) : source_(source) {
        poDS = dataset;
        nBand = 1;
        eDataType = static_cast<GDALDataType>(gdalTypeOf(source.type));
        nBlockXSize = nBlockYSize = static_cast<int>(TiffWriter::tileSize);
        SetDescription(source.name.c_str());
    }
    std::exception_ptr failure;

protected:
    CPLErr IReadBlock(int column, int row, void* samples) override {
        try {
            source_.read(static_cast<std::uint32_t>(row), static_cast<std::uint32_t>(column),
                         samples);
            return CE_None;
        } catch (...) {
            if (!failure)
                failure = std::current_exception();
            return CE_Failure;
        }
    }

private:
    const TileSource& source_;
};

class SourceDataset final : public GDALDataset {
public:
    explicit SourceDataset(const TileSource& source) : place_(source.place) {
        nRasterXSize = static_cast<int>(source.width);
        nRasterYSize = static_cast<int>(source.height);
        band_ = new SourceBand(this, source);
        SetBand(1, band_); // which owns it
        system_.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        if (!place_.wkt.empty())
            system_.importFromWkt(place_.wkt.c_str());
        Options rpc;
        for (const auto& [name, text] : place_.rpc)
            rpc.set(name.c_str(), text);
        SetMetadata(rpc.list(), "RPC");
        for (const GroundControlPoint& point : place_.gcps)
            gcps_.push_back({noText_, noText_, point.pixel, point.line, point.x, point.y, point.z});
    }

    CPLErr GetGeoTransform(double* transform) override {
        if (!place_.geoTransform)
            return CE_Failure;
        std::copy(place_.geoTransform->begin(), place_.geoTransform->end(), transform);
        return CE_None;
    }
    const OGRSpatialReference* GetSpatialRef() const override {
        return place_.geoTransform ? &system_ : nullptr;
    }
    int GetGCPCount() override { return static_cast<int>(gcps_.size()); }
    const GDAL_GCP* GetGCPs() override { return gcps_.data(); }
    const OGRSpatialReference* GetGCPSpatialRef() const override { return &system_; }
    void rethrowFailure() const {
        if (band_->failure)
            std::rethrow_exception(band_->failure);
    }

private:
    const Georeferencing& place_;
    SourceBand* band_;
    OGRSpatialReference system_;
    char noText_[1] = "";
    std::vector<GDAL_GCP> gcps_;
};

void addTransformer(Options& arguments, const TileSource& source, const GeocodeOptions& options) {
    if (source.place.geoTransform)
        return;
    if (source.place.rpc.empty()) {
        arguments.add({"-order", "3"});
        return;
    }
    arguments.add({"-rpc"});
    if (options.elevation.empty())
        arguments.add({"-to", "RPC_HEIGHT=" + std::to_string(options.heightM)});
    else
        arguments.add(
            {"-to", "RPC_DEM=" + options.elevation, "-to", "RPC_DEM_APPLY_VDATUM_SHIFT=FALSE"});
}

void addArguments(Options& arguments, const TileSource& source, const GeocodeOptions& options) {
    const std::string noData = std::to_string(options.noData);
    arguments.add({"-t_srs", options.system, "-r",
                   options.resampling == "nearest" ? "near" : options.resampling, "-dstnodata",
                   noData, "-et", "0.02", "-wm", std::to_string(options.maxMemory), "-multi", "-wo",
                   "NUM_THREADS=ALL_CPUS"});
    if (options.resolution > 0) {
        const std::string step = std::to_string(options.resolution);
        arguments.add({"-tr", step, step});
    }
    addTransformer(arguments, source, options);
    if (options.cloudOptimized)
        arguments.add({"-of", "COG", "-co", "COMPRESS=DEFLATE", "-co",
                       isComplex(source.type) ? "PREDICTOR=NO" : "PREDICTOR=YES"});
    else
        arguments.add(
            {"-of", "GTiff", "-co", "TILED=YES", "-co", "BLOCKXSIZE=512", "-co", "BLOCKYSIZE=512"});
    arguments.add({"-co", "BIGTIFF=IF_SAFER"});
}

} // namespace

bool geocode(const TileSource& source, const std::string& path, const GeocodeOptions& options,
             const KeepGoing& keepGoing) {
    registerDrivers();
    ErrorCapture errors;
    const NoSideCars noSideCars;
    SourceDataset dataset(source);
    Options arguments;
    addArguments(arguments, source, options);
    const std::unique_ptr<GDALWarpAppOptions, decltype(&GDALWarpAppOptionsFree)> warp(
        GDALWarpAppOptionsNew(arguments.list(), nullptr), GDALWarpAppOptionsFree);
    bool going = true;
    KeepGoing watched = [&](double done) { return going = keepGoing(done); };
    if (warp)
        GDALWarpAppOptionsSetProgress(warp.get(), askToKeepGoing, &watched);
    NewFile file(path);
    GDALDatasetH handle = GDALDataset::ToHandle(&dataset);
    GDALDatasetH made =
        warp ? GDALWarp(file.temporaryPath().c_str(), nullptr, 1, &handle, warp.get(), nullptr)
             : nullptr;
    if (made)
        GDALClose(made);
    if (!going)
        return false;
    dataset.rethrowFailure();
    if (!made || errors.failed() || !file.putInPlace())
        throw ImageError(errors.describe(path, "cannot be made"));
    return true;
}

} // namespace kimg
