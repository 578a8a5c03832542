// SPDX-License-Identifier: MIT
#include "product/radiometry/power.h"

#include "product/images/image_raster.h"
#include "product/radiometry/calibration.h"
#include "product/radiometry/incidence.h"
#include "product/radiometry/noise_power.h"

#include <algorithm>
#include <array>
#include <optional>

namespace product {
namespace {

class CalibratedRaster final : public ImageRaster {
public:
    CalibratedRaster(const std::shared_ptr<const OpenedProduct>& opened, const Entry& entry)
        : ImageRaster(opened, entry, {}),
          calibration_(readCalibration(opened->stated(), entry.table,
                                       columnsOf(opened->stated(), *entry.image),
                                       samples().isComplex())),
          from_(entry.table.kind), to_(entry.radiometry) {
        if (entry.denoised)
            noise_ = readNoisePower(*opened, *entry.image, to_);
        if (from_ != to_ || (noise_ && noise_->kind != to_))
            incidence_ = std::make_unique<Incidence>(*opened, *entry.image);
    }

    void readBlock(std::uint32_t row, std::uint32_t column, void* block) const override {
        thread_local std::vector<double> power; // of one block; as large as the largest so far
        const ImageSamples::Window window = blockWindow(row, column);
        power.resize(std::max(power.size(), std::size_t{window.width} * window.height));
        samples().readPower(window, {power.data(), std::size_t{window.width} * window.height});
        const std::size_t inside = std::min(window.width, width() - window.x);
        const double* divisors = calibration_.divisors.data() + window.x;
        auto* values = static_cast<float*>(block);
        for (std::uint32_t line = 0; line < window.height; ++line) {
            double* squares = power.data() + std::size_t{line} * window.width;
            for (std::size_t i = 0; i < inside; ++i)
                squares[i] = (squares[i] + calibration_.offset) / divisors[i];
            if ((incidence_ || noise_) && window.y + line < height())
                treat(window.y + line, window.x, {squares, inside});
            float* to = values + std::size_t{line} * window.width;
            std::transform(squares, squares + inside, to,
                           [](double value) { return static_cast<float>(value); });
            std::fill(to + inside, to + window.width, 0.0F);
        }
    }

private:
    /// Of the columns from `first` on.
    void treat(std::uint32_t line, std::uint32_t first, std::span<double> power) const {
        const auto factors = [&](Radiometry from) {
            return from == to_ ? ColumnProfile{0, 1, {1.0}}
                               : conversion(from, to_, incidence_->along(line));
        };
        const ColumnProfile factor = factors(from_);
        const auto end = static_cast<std::uint32_t>(power.size());
        for (std::uint32_t i = 0; i < end; ++i)
            power[i] *= factor.at(first + i);
        if (!noise_)
            return;
        const ColumnProfile noiseFactor = factors(noise_->kind);
        for (std::uint32_t i = 0; i < end; ++i)
            power[i] -= noise_->levels[first + i] * noiseFactor.at(first + i);
    }

    Calibration calibration_;
    Radiometry from_, to_;
    std::optional<NoisePower> noise_;
    std::unique_ptr<const Incidence> incidence_; ///< null where no angle is needed
};

/// A raster computed sample by sample from another raster.
class MadeRaster : public Raster {
protected:
    /// @param name  "" for the name of the other raster.
    MadeRaster(std::unique_ptr<Raster> of, const std::string& name, const char* unit,
               Quantity quantity)
        : Raster(productOf(*of), changed(aboutOf(*of), name, unit, quantity)), of_(std::move(of)) {}

    const Raster& of() const { return *of_; }
    std::size_t blockSamples() const { return std::size_t{blockWidth()} * blockHeight(); }

private:
    static About changed(About about, const std::string& name, const char* unit,
                         Quantity quantity) {
        if (!name.empty())
            about.name = name;
        about.unit = unit;
        about.quantity = quantity;
        about.type = kimg::SampleType::float32;
        return about;
    }

    std::unique_ptr<const Raster> of_;
};

class DecibelRaster final : public MadeRaster {
public:
    DecibelRaster(std::unique_ptr<Raster> power, const std::string& name)
        : MadeRaster(std::move(power), name, "dB", Quantity::decibels) {}

    void readBlock(std::uint32_t row, std::uint32_t column, void* block) const override {
        of().readBlock(row, column, block);
        auto* values = static_cast<float*>(block);
        std::transform(values, values + blockSamples(), values, decibelsOf);
    }
};

class SquareRaster final : public MadeRaster {
public:
    explicit SquareRaster(std::unique_ptr<Raster> of)
        : MadeRaster(std::move(of), "", "1", Quantity::power) {}

    void readBlock(std::uint32_t row, std::uint32_t column, void* block) const override {
        switch (of().type()) {
        case kimg::SampleType::complexInt16:
            return read<std::int16_t, 2>(row, column, block);
        case kimg::SampleType::complexFloat32:
            return read<float, 2>(row, column, block);
        case kimg::SampleType::complexFloat64:
            return read<double, 2>(row, column, block);
        case kimg::SampleType::float32:
            return read<float, 1>(row, column, block);
        default:
            return read<std::uint16_t, 1>(row, column, block);
        }
    }

private:
    template <class Part, std::size_t parts>
    void read(std::uint32_t row, std::uint32_t column, void* block) const {
        thread_local std::vector<std::array<Part, parts>> samples; // as large as the largest so far
        samples.resize(std::max(samples.size(), blockSamples()));
        of().readBlock(row, column, samples.data());
        for (std::size_t i = 0; i < blockSamples(); ++i) {
            double square = 0;
            for (const Part part : samples[i])
                square += double(part) * double(part);
            static_cast<float*>(block)[i] = static_cast<float>(square);
        }
    }
};

} // namespace

std::unique_ptr<Raster> makeCalibrated(const std::shared_ptr<const OpenedProduct>& opened,
                                       const Entry& entry) {
    return std::make_unique<CalibratedRaster>(opened, entry);
}

std::unique_ptr<Raster> openPower(const std::shared_ptr<const OpenedProduct>& opened,
                                  const Entry& entry) {
    auto raster = openRaster(opened, linear(entry));
    const bool power = raster->quantity() == Raster::Quantity::power;
    return power ? std::move(raster) : std::make_unique<SquareRaster>(std::move(raster));
}

std::unique_ptr<Raster> inDecibels(std::unique_ptr<Raster> power, const std::string& name) {
    return std::make_unique<DecibelRaster>(std::move(power), name);
}

} // namespace product
