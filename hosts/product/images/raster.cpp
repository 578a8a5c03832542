// SPDX-License-Identifier: MIT
#include "product/images/raster.h"

#include "product/bursts/mosaic.h"
#include "product/images/image_raster.h"
#include "product/radiometry/incidence.h"
#include "product/radiometry/noise_tables.h"
#include "product/radiometry/power.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>

namespace product {
namespace {

using kimg::SampleType;

/// A layer of the plug-in, unchanged.
class LayerRaster final : public Raster {
public:
    LayerRaster(const std::shared_ptr<const OpenedProduct>& opened, const std::string& name)
        : LayerRaster(opened, opened->product.openLayer(name)) {}

    void readBlock(std::uint32_t row, std::uint32_t column, void* samples) const override {
        try {
            layer_.readBlock(row, column, samples);
        } catch (const loader::Error& error) {
            throw loader::Error(opened().name() + ": " + error.what());
        }
    }

private:
    LayerRaster(std::shared_ptr<const OpenedProduct> opened, loader::Layer layer)
        : Raster(std::move(opened), aboutOf(layer)), layer_(std::move(layer)) {}

    static About aboutOf(const loader::Layer& layer) {
        const bool phase = parseLayerName(layer.name()).isPhase();
        return {layer.name(),
                "1",
                layer.name(),
                phase ? Quantity::phase : Quantity::magnitude,
                phase ? SampleType::int16 : SampleType::uint16,
                layer.width(),
                layer.height(),
                layer.blockWidth(),
                layer.blockHeight(),
                std::nullopt};
    }

    loader::Layer layer_;
};

class ComplexRaster final : public ImageRaster {
public:
    ComplexRaster(const std::shared_ptr<const OpenedProduct>& opened, const Entry& entry)
        : ImageRaster(opened, entry, aboutOf(entry.image->samples()->type())) {}

    void readBlock(std::uint32_t row, std::uint32_t column, void* block) const override {
        samples().readComplex(blockWindow(row, column), block);
    }

private:
    static About aboutOf(ImageSamples::Type type) {
        About about;
        about.quantity = Quantity::complexSamples;
        about.type = type == ImageSamples::Type::complexInt16     ? SampleType::complexInt16
                     : type == ImageSamples::Type::complexFloat32 ? SampleType::complexFloat32
                                                                  : SampleType::complexFloat64;
        return about;
    }
};

/// Magnitudes: as stored, or of complex samples.
class MagnitudeRaster final : public ImageRaster {
public:
    MagnitudeRaster(const std::shared_ptr<const OpenedProduct>& opened, const Entry& entry)
        : ImageRaster(opened, entry, aboutMagnitudes()) {}

    void readBlock(std::uint32_t row, std::uint32_t column, void* block) const override {
        thread_local std::vector<double> power; // as large as the largest block so far
        const ImageSamples::Window window = blockWindow(row, column);
        const std::size_t count = std::size_t{window.width} * window.height;
        power.resize(std::max(power.size(), count));
        samples().readPower(window, {power.data(), count});
        std::transform(power.begin(), power.begin() + static_cast<std::ptrdiff_t>(count),
                       static_cast<float*>(block),
                       [](double square) { return static_cast<float>(std::sqrt(square)); });
    }

private:
    static About aboutMagnitudes() {
        About about;
        about.quantity = Quantity::magnitude;
        return about;
    }
};

/// Phases of complex samples, -pi to pi; 0 beyond the image and for samples that are 0.
class PhaseRaster final : public ImageRaster {
public:
    PhaseRaster(const std::shared_ptr<const OpenedProduct>& opened, const Entry& entry)
        : ImageRaster(opened, entry, aboutPhases()) {}

    void readBlock(std::uint32_t row, std::uint32_t column, void* block) const override {
        const ImageSamples::Window window = blockWindow(row, column);
        auto* to = static_cast<float*>(block);
        switch (samples().type()) {
        case ImageSamples::Type::complexInt16:
            return read<std::int16_t>(window, to);
        case ImageSamples::Type::complexFloat32:
            return read<float>(window, to);
        default:
            return read<double>(window, to);
        }
    }

private:
    template <class Part>
    void read(const ImageSamples::Window& window, float* to) const {
        thread_local std::vector<std::array<Part, 2>> pairs; // as large as the largest block so far
        const std::size_t count = std::size_t{window.width} * window.height;
        pairs.resize(std::max(pairs.size(), count));
        samples().readComplex(window, pairs.data());
        for (std::size_t i = 0; i < count; ++i)
            to[i] = static_cast<float>(std::atan2(double(pairs[i][1]), double(pairs[i][0])));
    }

    static About aboutPhases() {
        About about;
        about.unit = "radian";
        about.quantity = Quantity::phase;
        return about;
    }
};

/// Incidence angles of a product that has no table of them.
class IncidenceRaster final : public ImageRaster {
public:
    IncidenceRaster(const std::shared_ptr<const OpenedProduct>& opened, const Entry& entry)
        : ImageRaster(opened, entry, aboutLines(entry, "degree")),
          incidence_(*opened, *entry.image) {}

    void readBlock(std::uint32_t row, std::uint32_t, void* block) const override {
        const ColumnProfile angles = incidence_.along(row);
        for (std::uint32_t column = 0; column < width(); ++column)
            static_cast<float*>(block)[column] = static_cast<float>(angles.at(column));
    }

private:
    Incidence incidence_;
};

/// Values that depend only on the column.
class ColumnRaster final : public ImageRaster {
public:
    ColumnRaster(const std::shared_ptr<const OpenedProduct>& opened, const Entry& entry,
                 const char* unit, const ColumnProfile& profile)
        : ImageRaster(opened, entry, aboutLines(entry, unit)) {
        for (const double value : profile.expand(width()))
            values_.push_back(static_cast<float>(value));
    }

    void readBlock(std::uint32_t, std::uint32_t, void* block) const override {
        std::copy(values_.begin(), values_.end(), static_cast<float*>(block));
    }

private:
    std::vector<float> values_;
};

void requireImage(const OpenedProduct& opened, const Entry& entry) {
    if (!entry.image)
        throw loader::Error(opened.name() + ": has no image for " + entry.name);
    if (!entry.image->samples())
        throw loader::Error(entry.image->fault());
}

} // namespace

void Raster::requireInside(const Window& window) const {
    loader::requireInside("layer " + name(), width(), height(), window.x, window.y, window.width,
                          window.height);
}

Place Raster::findPlace() const {
    return about_.part ? placeOf(*opened_, *about_.part, name())
                       : placeOf(*opened_, about_.gridLayer, width(), height());
}

std::unique_ptr<Raster> openRaster(const std::shared_ptr<const OpenedProduct>& opened,
                                   const Entry& entry) {
    if (entry.decibels)
        return inDecibels(openPower(opened, entry), entry.name);
    if (entry.kind == Entry::Kind::mosaic)
        return makeMosaic(opened, entry);
    if (entry.kind != Entry::Kind::layer || entry.image)
        requireImage(*opened, entry);
    switch (entry.kind) {
    case Entry::Kind::layer:
        return std::make_unique<LayerRaster>(opened, entry.name);
    case Entry::Kind::complexSamples:
        return std::make_unique<ComplexRaster>(opened, entry);
    case Entry::Kind::noise:
        return std::make_unique<ColumnRaster>(
            opened, entry, "dB",
            readNoise(opened->stated(), entry.noise, columnsOf(opened->stated(), *entry.image)));
    case Entry::Kind::incidence:
        if (opened->stated().incidenceFile().empty())
            return std::make_unique<IncidenceRaster>(opened, entry);
        return std::make_unique<ColumnRaster>(opened, entry, "degree",
                                              Incidence(*opened, *entry.image).along(0));
    case Entry::Kind::magnitude:
        return std::make_unique<MagnitudeRaster>(opened, entry);
    case Entry::Kind::phase:
        if (!entry.image->samples()->isComplex())
            throw loader::Error(entry.image->file + ": holds no complex samples");
        return std::make_unique<PhaseRaster>(opened, entry);
    case Entry::Kind::mosaic:
    case Entry::Kind::calibrated:
        break;
    }
    return makeCalibrated(opened, entry);
}

std::vector<Entry> available(const std::shared_ptr<const OpenedProduct>& opened,
                             std::vector<Entry> entries) {
    std::set<std::string> opens; // entries in decibels open where those without do
    const auto missing = [&](const Entry& entry) {
        if (entry.kind != Entry::Kind::calibrated && entry.kind != Entry::Kind::noise &&
            entry.kind != Entry::Kind::incidence)
            return false;
        if (entry.decibels)
            return opens.count(linear(entry).name) == 0;
        try {
            static_cast<void>(openRaster(opened, entry));
            opens.insert(entry.name);
            return false;
        } catch (const loader::Error&) {
            return true; // the checks say why
        }
    };
    std::erase_if(entries, missing);
    return entries;
}

std::vector<std::unique_ptr<Raster>> openRasters(const std::shared_ptr<const OpenedProduct>& opened,
                                                 const std::vector<std::string>& names,
                                                 const Treatment& treatment) {
    std::vector<std::unique_ptr<Raster>> rasters;
    for (const Entry& entry : entriesOf(*opened, names, treatment))
        rasters.push_back(openRaster(opened, entry));
    return rasters;
}

} // namespace product
