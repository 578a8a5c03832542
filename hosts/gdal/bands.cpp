#include "bands.h"

#include "product/images/raster.h"

#include <gdal_pam.h>

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
            oMDMD.SetMetadataItem("CALIBRATION", nameOf(entry.table.kind).c_str());
    }

    const char* GetUnitType() override { return raster_->unit().c_str(); }
    GDALColorInterp GetColorInterpretation() override { return GCI_Undefined; }

private:
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
};

} // namespace

std::unique_ptr<GDALRasterBand> makeBand(const std::shared_ptr<const OpenedProduct>& opened,
                                         const Entry& entry, std::function<void()> beforeRead) {
    return std::make_unique<SarBand>(product::openRaster(opened, entry), entry,
                                     std::move(beforeRead));
}

} // namespace rf_sar_gdal
