// SPDX-License-Identifier: MIT
#include "product/radiometry/beta_nought.h"

#include "product/radiometry/incidence.h"
#include "product/radiometry/noise_tables.h"
#include "product/radiometry/table_for.h"

#include <algorithm>

namespace product {
namespace {

/// Beta nought computed from sigma nought.
class BetaRaster final : public Raster {
public:
    BetaRaster(std::unique_ptr<Raster> sigma, std::unique_ptr<const Incidence> incidence)
        : Raster(productOf(*sigma), aboutOf(*sigma)), sigma_(std::move(sigma)),
          incidence_(std::move(incidence)) {}

    void readBlock(std::uint32_t row, std::uint32_t column, void* samples) const override {
        sigma_->readBlock(row, column, samples);
        const std::uint32_t x = column * blockWidth(), y = row * blockHeight();
        const std::uint32_t across = std::min(blockWidth(), width() - x);
        const std::uint32_t down = std::min(blockHeight(), height() - y);
        for (std::uint32_t line = 0; line < down; ++line) {
            const ColumnProfile factor = conversion(Radiometry::sigmaNought, Radiometry::betaNought,
                                                    incidence_->along(y + line));
            float* values = static_cast<float*>(samples) + std::size_t{line} * blockWidth();
            for (std::uint32_t i = 0; i < across; ++i)
                values[i] = static_cast<float>(values[i] * factor.at(x + i));
        }
    }

private:
    std::unique_ptr<Raster> sigma_;
    std::unique_ptr<const Incidence> incidence_;
};

/// Lowest and highest noise-equivalent sigma nought of an image.
std::optional<std::pair<double, double>> noiseOf(const OpenedProduct& opened,
                                                 const ProductImage& image) {
    const auto tables = opened.stated().noiseTables();
    const NoiseTable* table = tableFor(tables, image);
    if (!table)
        return std::nullopt;
    const ImageColumns columns = columnsOf(opened.stated(), image);
    const auto levels = readNoise(opened.stated(), *table, columns).expand(columns.width);
    const auto [low, high] = std::minmax_element(levels.begin(), levels.end());
    return std::pair(*low, *high);
}

} // namespace

std::vector<BetaNought> openBetaNought(const std::shared_ptr<const OpenedProduct>& opened,
                                       bool noiseRemoved) {
    const std::vector<Entry> entries = catalogue(*opened);
    std::vector<BetaNought> all;
    for (const ProductImage& image : opened->images()) {
        if (image.isCrossProduct) // no power of its own
            continue;
        const auto find = [&](Radiometry kind) {
            return std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) {
                return entry.kind == Entry::Kind::calibrated && entry.radiometry == kind &&
                       !entry.decibels && entry.image == &image;
            });
        };
        auto entry = find(Radiometry::betaNought);
        const bool fromSigma = entry == entries.end();
        if (fromSigma)
            entry = find(Radiometry::sigmaNought);
        if (entry == entries.end())
            throw loader::Error(opened->name() +
                                ": states neither beta nought nor sigma nought for " +
                                (image.pole.empty() ? "its image" : image.pole) +
                                ", which terrain flattening starts from");
        auto power = openRaster(opened, treated(*entry, {false, noiseRemoved}));
        if (fromSigma)
            power = std::make_unique<BetaRaster>(std::move(power),
                                                 std::make_unique<const Incidence>(*opened, image));
        all.push_back({image.pole, std::move(power), fromSigma, noiseOf(*opened, image)});
    }
    return all;
}

} // namespace product
