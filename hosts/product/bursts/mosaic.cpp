// SPDX-License-Identifier: MIT
#include "product/bursts/mosaic.h"

#include "product/bursts/burst_grid.h"
#include "product/bursts/burst_record.h"
#include "product/radiometry/calibration.h"
#include "product/radiometry/noise_power.h"
#include "product/radiometry/table_for.h"

#include <algorithm>
#include <deque>

namespace product {
namespace {

constexpr std::uint32_t blockSide = 512;

class Mosaic final : public Raster {
public:
    Mosaic(const std::shared_ptr<const OpenedProduct>& opened, const Entry& entry)
        : Mosaic(opened, entry, std::make_unique<const BurstGrid>(opened->stated().bursts())) {}

    void readBlock(std::uint32_t row, std::uint32_t column, void* block) const override {
        auto* values = static_cast<float*>(block);
        std::fill_n(values, std::size_t{blockWidth()} * blockHeight(), 0.0F);
        const std::uint32_t left = column * blockWidth();
        const std::uint32_t end = std::min((row + 1) * blockHeight(), height());
        for (std::uint32_t top = row * blockHeight(), bottom = top; top < end; top = bottom) {
            const auto& runs = grid_->runsOf(top);
            do
                ++bottom;
            while (bottom < end && &grid_->runsOf(bottom) == &runs);
            for (const BurstGrid::Run& run : runs) {
                const std::uint32_t begin = std::max(run.begin, left);
                const std::uint32_t stop = std::min(run.end, left + blockWidth());
                if (begin < stop)
                    fill(run.burst, {begin, top, stop - begin, bottom - top},
                         values + std::size_t{top - row * blockHeight()} * blockWidth() +
                             (begin - left));
            }
        }
    }

private:
    /// A burst's samples and their gains.
    struct Source {
        const ImageSamples* samples;
        Calibration calibration;
        std::vector<double> noise; ///< one a column; none where it stays
    };

    Mosaic(const std::shared_ptr<const OpenedProduct>& opened, const Entry& entry,
           std::unique_ptr<const BurstGrid> grid)
        : Raster(opened, aboutOf(*opened, entry, *grid)), grid_(std::move(grid)), entry_(entry),
          sources_(opened->stated().bursts().size()) {
        for (const CalibrationTable& table : opened->stated().calibrationTables())
            if (table.kind == entry.table.kind && (table.pole.empty() || table.pole == entry.pole))
                tables_.push_back(table);
    }

    static About aboutOf(const OpenedProduct& opened, const Entry& entry, const BurstGrid& grid) {
        requireUsable(opened);
        About about;
        about.name = entry.name;
        about.width = grid.samples();
        about.height = grid.lines();
        about.blockWidth = std::min(blockSide, about.width);
        about.blockHeight = std::min(blockSide, about.height);
        about.part = wholeGrid(opened.stated());
        return about;
    }

    static void requireUsable(const OpenedProduct& opened) {
        const std::vector<StatedBurst>& bursts = opened.stated().bursts();
        for (std::size_t i = 0; i < bursts.size(); ++i) {
            const std::string prefix = opened.name() + ": no mosaic: burst " + bursts[i].name();
            if (bursts[i].lineOffset < 0 || bursts[i].sampleOffset < 0)
                throw loader::Error(prefix + " has a negative offset");
            if (i > 0 && bursts[i].name() == bursts[i - 1].name())
                throw loader::Error(prefix + " is listed twice");
        }
    }

    const ProductImage& imageOf(const StatedBurst& burst) const {
        for (const ProductImage& image : opened().burstImages())
            if (image.burst == &burst && image.pole == entry_.pole)
                return image;
        throw loader::Error(opened().name() + ": burst " + burst.name() + " has no image of " +
                            entry_.pole);
    }

    Source open(const StatedBurst& burst) const {
        const ProductImage& image = imageOf(burst);
        const ImageSamples* samples = image.samples();
        if (!samples)
            throw loader::Error(image.fault());
        if (samples->width() != burst.samples || samples->height() != burst.lines)
            throw loader::Error(image.file + ": has " + std::to_string(samples->width()) + " x " +
                                std::to_string(samples->height()) + " pixels, burst " +
                                burst.name() + " is stated with " + std::to_string(burst.samples) +
                                " x " + std::to_string(burst.lines));
        const CalibrationTable* table = tableFor(tables_, image);
        if (!table)
            throw loader::Error(opened().name() + ": burst " + burst.name() + " has no table for " +
                                name());
        return {samples,
                readCalibration(opened().stated(), *table, columnsOf(burst), samples->isComplex()),
                entry_.denoised ? noiseOf(image) : std::vector<double>()};
    }

    std::vector<double> noiseOf(const ProductImage& image) const {
        NoisePower noise = readNoisePower(opened(), image, entry_.radiometry);
        if (noise.kind != entry_.radiometry)
            throw loader::Error(opened().name() + ": states no noise level for " + name() +
                                "; for sigma nought it does");
        return std::move(noise.levels);
    }

    /// @param part  of the grid, inside the burst.
    /// @param values  of its first pixel, in the block.
    void fill(std::size_t index, const ImageSamples::Window& part, float* values) const {
        const StatedBurst& burst = opened().stated().bursts()[index];
        const Source& source = sources_[index].get([&] { return open(burst); });
        const ImageSamples::Window window{static_cast<std::uint32_t>(part.x - burst.sampleOffset),
                                          static_cast<std::uint32_t>(part.y - burst.lineOffset),
                                          part.width, part.height};
        thread_local std::vector<double> power; // as large as the largest so far
        power.resize(std::max(power.size(), std::size_t{window.width} * window.height));
        source.samples->readPower(window,
                                  {power.data(), std::size_t{window.width} * window.height});
        const double* divisors = source.calibration.divisors.data() + window.x;
        for (std::uint32_t line = 0; line < window.height; ++line)
            for (std::uint32_t i = 0; i < window.width; ++i)
                values[std::size_t{line} * blockWidth() + i] = static_cast<float>(
                    (power[std::size_t{line} * window.width + i] + source.calibration.offset) /
                        divisors[i] -
                    (source.noise.empty() ? 0 : source.noise[window.x + i]));
    }

    std::unique_ptr<const BurstGrid> grid_;
    Entry entry_;
    std::vector<CalibrationTable> tables_;
    std::deque<Kept<Source>> sources_; ///< one a burst
};

} // namespace

std::unique_ptr<Raster> makeMosaic(const std::shared_ptr<const OpenedProduct>& opened,
                                   const Entry& entry) {
    return std::make_unique<Mosaic>(opened, entry);
}

} // namespace product
