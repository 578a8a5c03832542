#include "map_view.h"

#include <gdal_proxy.h>
#include <gdalwarper.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>

namespace rf_sar_gdal {
namespace {

constexpr double maxApproximationPixels = 0.125;

struct DatasetRelease {
    void operator()(GDALDataset* dataset) const { dataset->ReleaseRef(); }
};
using SharedDataset = std::unique_ptr<GDALDataset, DatasetRelease>;

/// What stands beside the image: 0, which magnitudes and complex samples hardly ever are, and for
/// powers what they never are. Phases use every number; for them 0 stands there unmarked.
double besideImage(GDALDataType type) {
    return type == GDT_Float32 ? std::numeric_limits<double>::quiet_NaN() : 0;
}

/// Pixels of the warped band; all else is said by the band it shows.
class MapBand final : public GDALProxyRasterBand {
public:
    MapBand(GDALRasterBand& warped, GDALRasterBand& shown) : warped_(warped), shown_(shown) {
        eDataType = warped.GetRasterDataType();
        nRasterXSize = warped.GetXSize();
        nRasterYSize = warped.GetYSize();
        warped.GetBlockSize(&nBlockXSize, &nBlockYSize);
        SetDescription(shown.GetDescription());
    }

    char** GetMetadataDomainList() override { return shown_.GetMetadataDomainList(); }
    MetadataList GetMetadata(const char* domain) override { return shown_.GetMetadata(domain); }
    const char* GetMetadataItem(const char* name, const char* domain) override {
        return shown_.GetMetadataItem(name, domain);
    }
    const char* GetUnitType() override { return shown_.GetUnitType(); }
    GDALColorInterp GetColorInterpretation() override { return shown_.GetColorInterpretation(); }
    double GetNoDataValue(int* has) override {
        if (has)
            *has = eDataType == GDT_Int16 ? FALSE : TRUE;
        return besideImage(eDataType);
    }

private:
    GDALRasterBand* RefUnderlyingRasterBand(RF_SAR_GDAL_FORCE_OPEN) const override {
        return &warped_;
    }

    GDALRasterBand& warped_;
    GDALRasterBand& shown_;
};

class MapView final : public WithGeoTransform<GDALDataset> {
public:
    MapView(SharedDataset warped, std::unique_ptr<SarDataset> shown)
        : shown_(std::move(shown)), warped_(std::move(warped)) {
        SetDescription(shown_->GetDescription());
        nRasterXSize = warped_->GetRasterXSize();
        nRasterYSize = warped_->GetRasterYSize();
        for (int i = 1; i <= warped_->GetRasterCount(); ++i)
            SetBand(i, new MapBand(*warped_->GetRasterBand(i), *shown_->GetRasterBand(i)));
    }

    const OGRSpatialReference* GetSpatialRef() const override { return warped_->GetSpatialRef(); }
    char** GetFileList() override { return shown_->GetFileList(); }
    MetadataList GetMetadata(const char* domain) override {
        return isRpc(domain) ? nullptr : shown_->GetMetadata(domain);
    }
    const char* GetMetadataItem(const char* name, const char* domain) override {
        return isRpc(domain) ? nullptr : shown_->GetMetadataItem(name, domain);
    }

private:
    bool copyGeoTransform(double* transform) const override {
        return GDALGetGeoTransform(GDALDataset::ToHandle(warped_.get()), transform) == CE_None;
    }
    static bool isRpc(const char* domain) { return domain && EQUAL(domain, "RPC"); }

    std::unique_ptr<SarDataset> shown_;
    SharedDataset warped_; ///< reads from shown_ and ends before it
};

CPLStringList transformOptions(SarDataset& opened, const std::string& elevation) {
    CPLStringList options;
    if (!opened.GetMetadata("RPC")) {
        if (opened.GetGCPCount() == 0 || !elevation.empty())
            throw loader::Error(opened.GetDescription() +
                                std::string(": its place on the map is not known") +
                                (elevation.empty() ? "" : " with heights"));
        options.SetNameValue("METHOD", "GCP_TPS");
        return options;
    }
    const char* sceneHeight = opened.GetMetadataItem("HEIGHT_OFF", "RPC");
    options.SetNameValue("METHOD", "RPC");
    options.SetNameValue(elevation.empty() ? "RPC_HEIGHT" : "RPC_DEM_MISSING_VALUE", sceneHeight);
    if (!elevation.empty())
        options.SetNameValue("RPC_DEM", elevation.c_str());
    return options;
}

std::string wktOf(const OGRSpatialReference* system) {
    char* text = nullptr;
    if (system)
        system->exportToWkt(&text);
    const std::unique_ptr<char, decltype(&VSIFree)> owner(text, VSIFree);
    return text ? text : "";
}

} // namespace

std::unique_ptr<GDALDataset> onTheMap(std::unique_ptr<SarDataset> opened,
                                      const std::string& elevation) {
    std::array<double, 6> transform{};
    if (opened->GetRasterCount() == 0 ||
        GDALGetGeoTransform(opened.get(), transform.data()) == CE_None)
        return opened;
    CPLErrorReset();
    const CPLStringList options = transformOptions(*opened, elevation);
    const std::string wkt = wktOf(opened->GetGCPSpatialRef());
    const std::unique_ptr<GDALWarpOptions, decltype(&GDALDestroyWarpOptions)> warp(
        GDALCreateWarpOptions(), GDALDestroyWarpOptions);
    GDALWarpInitDefaultBandMapping(warp.get(), opened->GetRasterCount());
    warp->eWorkingDataType = opened->GetRasterBand(1)->GetRasterDataType();
    const char* beside = std::isnan(besideImage(warp->eWorkingDataType)) ? "nan" : "0";
    warp->papszWarpOptions = CSLSetNameValue(warp->papszWarpOptions, "INIT_DEST", beside);
    SharedDataset warped(GDALDataset::FromHandle(GDALAutoCreateWarpedVRTEx(
        opened.get(), nullptr, wkt.empty() ? nullptr : wkt.c_str(), GRA_NearestNeighbour,
        maxApproximationPixels, warp.get(), options.List())));
    if (!warped)
        throw loader::Error(opened->GetDescription() +
                            std::string(": cannot be drawn on the map: ") + CPLGetLastErrorMsg());
    return std::make_unique<MapView>(std::move(warped), std::move(opened));
}

} // namespace rf_sar_gdal
