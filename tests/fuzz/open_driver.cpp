// SPDX-License-Identifier: MIT
// A product as GDAL's users open it: metadata, subdatasets, pixels.
#include "fuzz/oracles.h"
#include "fuzz/require.h"
#include "fuzz/ways.h"

#include <cpl_string.h>
#include <gdal_priv.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <vector>

extern "C" void GDALRegister_RF_SAR();

namespace fuzz {
namespace {

constexpr std::array<std::string_view, 13> lines = {"NONE",
                                                    "CALIBRATION=SIGMA_NOUGHT",
                                                    "CALIBRATION=BETA_NOUGHT DENOISE=YES",
                                                    "CALIBRATION=GAMMA_DB",
                                                    "GEOREF=MODEL",
                                                    "GEOREF=RPC",
                                                    "GEOREF=GCP",
                                                    "GEOREF=PRODUCT",
                                                    "GEOREF=MAP",
                                                    "LAYER=MAP",
                                                    "LAYER=MAP_SIGMA_NOUGHT_DB_HH",
                                                    "LAYER=NOISE_HH",
                                                    "LAYER=INCIDENCE_HH"};

constexpr int mostBands = 2, mostSubdatasets = 2, mostPixels = 32;
constexpr std::size_t turnsToFit = 32; ///< rational functions take longer than all else

/// While it lives, what GDAL tells is looked at.
class Listening {
public:
    Listening() { CPLPushErrorHandlerEx(hear, this); }
    ~Listening() { CPLPopErrorHandler(); }
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;

    bool heard() const { return heard_; }

private:
    static void CPL_STDCALL hear(CPLErr kind, CPLErrorNum, const char* text) {
        static_cast<Listening*>(CPLGetErrorHandlerUserData())->heard_ = true;
        if (kind >= CE_Warning)
            requireSentence(text);
    }
    bool heard_ = false;
};

/// @param fits  also asks for what needs rational functions fitted, as the list of domains does.
void readMetadata(GDALDataset& dataset, bool fits) {
    static const CPLStringList cheap(CSLTokenizeString("SUBDATASETS json:SAR_Metadata"));
    const CPLStringList domains(fits ? dataset.GetMetadataDomainList()
                                     : CSLDuplicate(cheap.List()));
    static_cast<void>(dataset.GetMetadata(""));
    for (int i = 0; i < domains.Count(); ++i) {
        const CPLStringList items(CSLDuplicate(dataset.GetMetadata(domains[i])));
        if (STARTS_WITH(domains[i], "json:") && items.Count() > 0)
            requireJson(items[0]);
    }
}

void readPlace(GDALDataset& dataset) {
    double transform[6] = {};
    if (dataset.GetGeoTransform(transform) == CE_None)
        require(std::all_of(std::begin(transform), std::end(transform),
                            [](double each) { return std::isfinite(each); }),
                "a geotransform is of numbers");
    const GDAL_GCP* const gcps = dataset.GetGCPs();
    for (int i = 0; i < dataset.GetGCPCount(); ++i)
        require(std::isfinite(gcps[i].dfGCPPixel) && std::isfinite(gcps[i].dfGCPLine) &&
                    std::isfinite(gcps[i].dfGCPX) && std::isfinite(gcps[i].dfGCPY) &&
                    std::isfinite(gcps[i].dfGCPZ),
                "a tie point is of numbers");
    static_cast<void>(dataset.GetSpatialRef());
    static_cast<void>(dataset.GetGCPSpatialRef());
}

void readFileList(GDALDataset& dataset, const std::string& entry) {
    const CPLStringList files(dataset.GetFileList());
    for (int i = 0; i < files.Count(); ++i)
        require(std::string_view(files[i]).find(entry) != std::string_view::npos,
                "the files of a product lie where it lies");
}

/// Of a window in the middle.
void readPixels(GDALRasterBand& band) {
    const int width = std::min(band.GetXSize(), mostPixels);
    const int height = std::min(band.GetYSize(), mostPixels);
    std::vector<double> samples(2 * static_cast<std::size_t>(width) *
                                static_cast<std::size_t>(height));
    if (band.RasterIO(GF_Read, (band.GetXSize() - width) / 2, (band.GetYSize() - height) / 2, width,
                      height, samples.data(), width, height, GDT_CFloat64, 0, 0,
                      nullptr) == CE_None &&
        band.GetMetadataItem("CALIBRATION"))
        require(std::none_of(samples.begin(), samples.end(),
                             [](double each) { return std::isinf(each); }),
                "a calibrated sample is not infinite");
}

void readBands(GDALDataset& dataset) {
    for (int i = 1; i <= std::min(dataset.GetRasterCount(), mostBands); ++i) {
        GDALRasterBand& band = *dataset.GetRasterBand(i);
        static_cast<void>(band.GetNoDataValue());
        static_cast<void>(band.GetUnitType());
        static_cast<void>(band.GetOverviewCount());
        int width = 0, height = 0;
        band.GetBlockSize(&width, &height);
        if (std::int64_t{width} * height <= 1 << 20)
            readPixels(band);
    }
}

std::unique_ptr<GDALDataset> openAs(const std::string& name, const CPLStringList& options) {
    static const char* const drivers[] = {"RF_SAR", nullptr};
    const Listening listening;
    std::unique_ptr<GDALDataset> dataset(GDALDataset::Open(
        name.c_str(), GDAL_OF_RASTER | GDAL_OF_VERBOSE_ERROR, drivers, options.List(), nullptr));
    require(dataset || listening.heard(), "a refusal has a reason");
    return dataset;
}

void readDataset(GDALDataset& dataset, const std::string& entry, bool fits) {
    const Listening listening;
    readMetadata(dataset, fits);
    readPlace(dataset);
    readFileList(dataset, entry);
    readBands(dataset);
}

} // namespace

void openByDriver(const std::string& entry, std::string_view wanted, std::size_t turn) {
    [[maybe_unused]] static const bool registered = (GDALRegister_RF_SAR(), true);
    const std::string line(chosenOf(lines, wanted));
    const CPLStringList options(line == "NONE" ? nullptr : CSLTokenizeString(line.c_str()));
    const auto dataset = openAs(entry, options);
    if (!dataset)
        return;
    const bool fits = turn % turnsToFit == 0;
    readDataset(*dataset, entry, fits);
    const Listening listening;
    const CPLStringList parts(CSLDuplicate(dataset->GetMetadata("SUBDATASETS")));
    const int count = parts.Count() / 2;
    for (int i = 0; i < std::min(count, mostSubdatasets); ++i) {
        const auto which = (turn + static_cast<std::size_t>(i)) % static_cast<std::size_t>(count);
        if (const char* name =
                parts.FetchNameValue(("SUBDATASET_" + std::to_string(which + 1) + "_NAME").c_str()))
            if (const auto part = openAs(name, CPLStringList()))
                readDataset(*part, entry, fits);
    }
}

} // namespace fuzz
