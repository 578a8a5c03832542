#include "bands.h"

#include <gdal_pam.h>

#include <algorithm>

namespace rf_sar_gdal {
namespace {

using product::ImageSamples;

/// What all bands share: the facts of their entry, and failures as GDAL wants them.
class SarBand : public GDALPamRasterBand {
public:
    SarBand(std::shared_ptr<const OpenedProduct> opened, const Entry& entry, GDALDataType type)
        : opened_(std::move(opened)) {
        eDataType = type;
        sDescription = entry.name;
        if (!entry.pole.empty())
            oMDMD.SetMetadataItem("POLARIMETRIC_INTERP", entry.pole.c_str());
    }

    const char* GetUnitType() override { return unit_; }
    GDALColorInterp GetColorInterpretation() override { return GCI_Undefined; }

protected:
    void setSize(std::uint32_t width, std::uint32_t height, std::uint32_t blockWidth,
                 std::uint32_t blockHeight) {
        nRasterXSize = static_cast<int>(width);
        nRasterYSize = static_cast<int>(height);
        nBlockXSize = static_cast<int>(blockWidth);
        nBlockYSize = static_cast<int>(blockHeight);
    }
    void setSize(const ImageSamples& samples) {
        setSize(samples.width(), samples.height(), samples.blockWidth(), samples.blockHeight());
    }
    void setUnit(const char* unit) { unit_ = unit; }

    /// Fills a whole block; throws on failure.
    virtual void readBlock(std::uint32_t column, std::uint32_t row, void* block) = 0;

    ImageSamples::Window blockWindow(std::uint32_t column, std::uint32_t row) const {
        const auto width = static_cast<std::uint32_t>(nBlockXSize);
        const auto height = static_cast<std::uint32_t>(nBlockYSize);
        return {column * width, row * height, width, height};
    }

    const std::shared_ptr<const OpenedProduct> opened_; // what subclasses hold is part of it

private:
    CPLErr IReadBlock(int column, int row, void* block) final {
        try {
            readBlock(static_cast<std::uint32_t>(column), static_cast<std::uint32_t>(row), block);
            return CE_None;
        } catch (const std::exception& error) {
            CPLError(CE_Failure, CPLE_FileIO, "%s", error.what());
            return CE_Failure;
        }
    }

    const char* unit_ = "";
};

/// A layer of the plug-in, whose blocks are GDAL's blocks.
class LayerBand final : public SarBand {
public:
    LayerBand(std::shared_ptr<const OpenedProduct> opened, const Entry& entry)
        : SarBand(std::move(opened), entry, entry.isPhase() ? GDT_Int16 : GDT_UInt16),
          layer_(opened_->product.openLayer(entry.name)) {
        setSize(layer_.width(), layer_.height(), layer_.blockWidth(), layer_.blockHeight());
    }

private:
    void readBlock(std::uint32_t column, std::uint32_t row, void* block) override {
        try {
            layer_.readBlock(row, column, block);
        } catch (const loader::Error& error) {
            throw loader::Error(opened_->product.name() + ": " + error.what());
        }
    }

    loader::Layer layer_;
};

class ComplexBand final : public SarBand {
public:
    ComplexBand(std::shared_ptr<const OpenedProduct> opened, const Entry& entry)
        : SarBand(std::move(opened), entry, typeOf(entry.image->samples->type())),
          samples_(*entry.image->samples) {
        setSize(samples_);
    }

private:
    static GDALDataType typeOf(ImageSamples::Type type) {
        switch (type) {
        case ImageSamples::Type::complexInt16:
            return GDT_CInt16;
        case ImageSamples::Type::complexFloat32:
            return GDT_CFloat32;
        default:
            return GDT_CFloat64;
        }
    }

    void readBlock(std::uint32_t column, std::uint32_t row, void* block) override {
        samples_.readComplex(blockWindow(column, row), block);
    }

    const ImageSamples& samples_;
};

class CalibratedBand final : public SarBand {
public:
    CalibratedBand(std::shared_ptr<const OpenedProduct> opened, const Entry& entry)
        : SarBand(std::move(opened), entry, GDT_Float32), samples_(*entry.image->samples),
          calibration_(product::readCalibration(opened_->product, opened_->document, entry.table,
                                                samples_.width(), samples_.isComplex())) {
        setSize(samples_);
        oMDMD.SetMetadataItem("CALIBRATION", nameOf(entry.table.kind).c_str());
    }

private:
    void readBlock(std::uint32_t column, std::uint32_t row, void* block) override {
        const ImageSamples::Window window = blockWindow(column, row);
        power_.resize(std::size_t{window.width} * window.height);
        samples_.readPower(window, power_);
        const std::size_t inside = std::min(window.width, samples_.width() - window.x);
        const double* divisors = calibration_.divisors.data() + window.x;
        auto* values = static_cast<float*>(block);
        for (std::size_t line = 0; line < window.height; ++line) {
            const std::size_t start = line * window.width;
            for (std::size_t i = 0; i < inside; ++i)
                values[start + i] =
                    static_cast<float>((power_[start + i] + calibration_.offset) / divisors[i]);
            std::fill(values + start + inside, values + start + window.width, 0.0F);
        }
    }

    const ImageSamples& samples_;
    product::Calibration calibration_;
    std::vector<double> power_; ///< of one block; a handle is used by one thread at a time
};

/// Values that depend on the column alone.
class ColumnBand final : public SarBand {
public:
    ColumnBand(std::shared_ptr<const OpenedProduct> opened, const Entry& entry,
               const product::ColumnProfile& profile)
        : SarBand(std::move(opened), entry, GDT_Float32) {
        const ImageSamples& samples = *entry.image->samples;
        setSize(samples.width(), samples.height(), samples.width(), 1);
        setUnit(entry.kind == Entry::Kind::noise ? "dB" : "degree");
        for (const double value : profile.expand(samples.width()))
            values_.push_back(static_cast<float>(value));
    }

private:
    void readBlock(std::uint32_t, std::uint32_t, void* block) override {
        std::copy(values_.begin(), values_.end(), static_cast<float*>(block));
    }

    std::vector<float> values_;
};

void requireImage(const OpenedProduct& opened, const Entry& entry) {
    if (!entry.image)
        throw loader::Error(opened.product.name() + ": has no image for " + entry.name);
    if (!entry.image->samples)
        throw loader::Error(entry.image->fault);
}

} // namespace

std::unique_ptr<GDALRasterBand> makeBand(const std::shared_ptr<const OpenedProduct>& opened,
                                         const Entry& entry) {
    requireImage(*opened, entry);
    switch (entry.kind) {
    case Entry::Kind::layer:
        return std::make_unique<LayerBand>(opened, entry);
    case Entry::Kind::complexSamples:
        return std::make_unique<ComplexBand>(opened, entry);
    case Entry::Kind::calibrated:
        return std::make_unique<CalibratedBand>(opened, entry);
    case Entry::Kind::noise:
        return std::make_unique<ColumnBand>(
            opened, entry,
            product::readNoise(opened->document, entry.noise, entry.image->samples->width()));
    case Entry::Kind::incidence:
        break;
    }
    return std::make_unique<ColumnBand>(
        opened, entry, product::readIncidence(opened->document, entry.image->samples->width()));
}

} // namespace rf_sar_gdal
