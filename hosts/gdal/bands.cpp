// SPDX-License-Identifier: MIT
#include "bands.h"

#include "gdal_versions.h"
#include "product/images/raster.h"
#include "sparse_statistics.h"

#include <gdal_pam.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace rf_sar_gdal {
namespace {

GDALDataType typeOf(kimg::SampleType type) {
    switch (type) {
    case kimg::SampleType::uint16:
        return GDT_UInt16;
    case kimg::SampleType::int16:
        return GDT_Int16;
    case kimg::SampleType::float32:
        return GDT_Float32;
    case kimg::SampleType::complexInt16:
        return GDT_CInt16;
    case kimg::SampleType::complexFloat32:
        return GDT_CFloat32;
    case kimg::SampleType::complexFloat64:
        break;
    }
    return GDT_CFloat64;
}

/// VSIIsLocal() takes archives on such systems for local.
bool isRemote(const std::string& file) {
    constexpr const char* systems[] = {"/vsicurl",  "/vsis3",   "/vsigs",
                                       "/vsiaz",    "/vsiadls", "/vsioss",
                                       "/vsiswift", "/vsihdfs", "/vsiwebhdfs"};
    return std::any_of(std::begin(systems), std::end(systems),
                       [&](const char* system) { return file.find(system) != std::string::npos; });
}

/// A raster whose blocks are GDAL's blocks.
class SarBand final : public GDALPamRasterBand {
public:
    SarBand(std::unique_ptr<product::Raster> raster, const Entry& entry,
            std::function<void()> beforeRead)
        : raster_(std::move(raster)), beforeRead_(std::move(beforeRead)) {
        eDataType = typeOf(raster_->type());
        nRasterXSize = static_cast<int>(raster_->width());
        nRasterYSize = static_cast<int>(raster_->height());
        nBlockXSize = static_cast<int>(raster_->blockWidth());
        nBlockYSize = static_cast<int>(raster_->blockHeight());
        sDescription = entry.name;
        if (!entry.pole.empty())
            oMDMD.SetMetadataItem("POLARIMETRIC_INTERP", entry.pole.c_str());
        if (entry.kind == Entry::Kind::calibrated)
            oMDMD.SetMetadataItem("CALIBRATION", nameOf(entry.radiometry).c_str());
    }

    const char* GetUnitType() override { return raster_->unit().c_str(); }
    GDALColorInterp GetColorInterpretation() override { return GCI_Undefined; }

    MetadataList GetMetadata(const char* domain) override {
        if (!domain || EQUAL(domain, ""))
            provideStatistics();
        return GDALPamRasterBand::GetMetadata(domain);
    }
    const char* GetMetadataItem(const char* name, const char* domain) override {
        if ((!domain || EQUAL(domain, "")) && STARTS_WITH_CI(name, "STATISTICS_"))
            provideStatistics();
        return GDALPamRasterBand::GetMetadataItem(name, domain);
    }

    /// Approximate statistics do not contain these.
    double GetMinimum(int* known) override {
        return isApproximate() ? unknown(known, 0) : GDALPamRasterBand::GetMinimum(known);
    }
    double GetMaximum(int* known) override {
        return isApproximate() ? unknown(known, 1) : GDALPamRasterBand::GetMaximum(known);
    }

private:
    bool isApproximate() { return GetMetadataItem("STATISTICS_APPROXIMATE", nullptr) != nullptr; }
    /// @return an end of the type's range.
    double unknown(int* known, int end) const {
        if (known)
            *known = FALSE;
        constexpr double mostFloat = std::numeric_limits<float>::max();
        return eDataType == GDT_UInt16  ? end * 65535.0
               : eDataType == GDT_Int16 ? end * 65535.0 - 32768
                                        : (2 * end - 1) * mostFloat;
    }

    /// Viewers stretch pictures between the approximate extremes. GDAL's own would show one bright
    /// target on black, and it would write them beside the product. This bypasses the sidecar file,
    /// and is only offered where reading costs little.
    void provideStatistics() {
        if (std::exchange(statisticsProvided_, true) || oMDMD.GetMetadataItem("STATISTICS_MEAN") ||
            isRemote(raster_->opened().name()))
            return;
        const auto found = sparseStatistics(*raster_);
        if (!found)
            return;
        const auto set = [&](const char* name, double value) {
            oMDMD.SetMetadataItem(name, CPLString().FormatC(value, "%.9g"));
        };
        oMDMD.SetMetadataItem("STATISTICS_APPROXIMATE", "YES");
        set("STATISTICS_MINIMUM", found->lowest);
        set("STATISTICS_MAXIMUM", found->highest);
        set("STATISTICS_MEAN", found->mean);
        set("STATISTICS_STDDEV", found->deviation);
    }

    CPLErr IReadBlock(int column, int row, void* block) override {
        try {
            beforeRead_();
            raster_->readBlock(static_cast<std::uint32_t>(row), static_cast<std::uint32_t>(column),
                               block);
            return CE_None;
        } catch (const std::exception& error) {
            CPLError(CE_Failure, CPLE_FileIO, "%s", error.what());
            return CE_Failure;
        }
    }

    const std::unique_ptr<product::Raster> raster_;
    const std::function<void()> beforeRead_;
    bool statisticsProvided_ = false;
};

} // namespace

std::unique_ptr<GDALRasterBand> makeBand(const std::shared_ptr<const OpenedProduct>& opened,
                                         const Entry& entry, std::function<void()> beforeRead) {
    return std::make_unique<SarBand>(product::openRaster(opened, entry), entry,
                                     std::move(beforeRead));
}

} // namespace rf_sar_gdal
