#include "product/radiometry/beta_nought.h"

#include <algorithm>
#include <cmath>

namespace product {
namespace {

/// A column's values on a line, as a raster of lines has them.
std::vector<float> lineOf(const Raster& raster, std::uint32_t line) {
    std::vector<float> values(std::size_t{raster.blockWidth()} * raster.blockHeight());
    raster.readBlock(line / raster.blockHeight(), 0, values.data());
    values.resize(raster.width());
    return values;
}

std::vector<float> sineOf(const Raster& incidenceDeg, std::uint32_t line) {
    std::vector<float> sines = lineOf(incidenceDeg, line);
    for (float& value : sines)
        value = static_cast<float>(std::sin(static_cast<double>(value) * 3.14159265358979 / 180));
    return sines;
}

/// (power - noise) / sine, both along the lines; either may be missing.
class BetaRaster final : public Raster {
public:
    BetaRaster(std::unique_ptr<Raster> power, std::unique_ptr<Raster> noiseSigmaDb,
               std::unique_ptr<Raster> incidenceDeg, bool powerIsSigma)
        : Raster(nullptr,
                 {power->name(), "", "", Mean::ofValues, kimg::SampleType::float32, power->width(),
                  power->height(), power->blockWidth(), power->blockHeight()}),
          power_(std::move(power)), noise_(std::move(noiseSigmaDb)),
          incidence_(std::move(incidenceDeg)), isSigma_(powerIsSigma) {
        if (noise_)
            for (const float dB : lineOf(*noise_, 0))
                noisePower_.push_back(std::pow(10.0F, dB / 10));
    }

    void readBlock(std::uint32_t row, std::uint32_t column, void* samples) const override {
        power_->readBlock(row, column, samples);
        const std::uint32_t x = column * blockWidth(), y = row * blockHeight();
        const std::uint32_t across = std::min(blockWidth(), width() - x);
        const std::uint32_t down = std::min(blockHeight(), height() - y);
        // Along the track angles change by less than 0.01 degrees a thousand lines.
        const std::vector<float> sines = sineOf(*incidence_, y + down / 2);
        auto* values = static_cast<float*>(samples);
        for (std::uint32_t line = 0; line < down; ++line)
            for (std::uint32_t i = 0; i < across; ++i) {
                float& value = values[std::size_t{line} * blockWidth() + i];
                const float sine = sines[x + i];
                const float noise = noisePower_.empty() ? 0 : noisePower_[x + i];
                value = isSigma_ ? (value - noise) / sine : value - noise / sine;
            }
    }

private:
    std::unique_ptr<Raster> power_, noise_, incidence_;
    bool isSigma_;
    std::vector<float> noisePower_; ///< noise-equivalent sigma nought
};

} // namespace

std::vector<BetaNought> openBetaNought(const std::shared_ptr<const OpenedProduct>& opened,
                                       bool noiseRemoved) {
    const std::vector<Entry> entries = catalogue(*opened);
    const auto find = [&](Entry::Kind kind, const std::string& pole,
                          Radiometry radiometry) -> const Entry* {
        const auto found = std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) {
            return entry.kind == kind && (entry.pole.empty() || entry.pole == pole) &&
                   (kind != Entry::Kind::calibrated || entry.table.kind == radiometry) &&
                   !(entry.image && entry.image->burst);
        });
        return found == entries.end() ? nullptr : &*found;
    };
    std::vector<BetaNought> all;
    for (const ProductImage& image : opened->images()) {
        if (image.isCrossProduct) // no power of its own
            continue;
        const Entry* beta = find(Entry::Kind::calibrated, image.pole, Radiometry::betaNought);
        const Entry* sigma = find(Entry::Kind::calibrated, image.pole, Radiometry::sigmaNought);
        const Entry* incidence = find(Entry::Kind::incidence, image.pole, {});
        const Entry* noise = find(Entry::Kind::noise, image.pole, {});
        const std::string who = opened->name() + ": ";
        if (!beta && !sigma)
            throw loader::Error(who + "states neither beta nought nor sigma nought for " +
                                (image.pole.empty() ? "its image" : image.pole) +
                                ", which terrain flattening starts from");
        if (noiseRemoved && !noise)
            throw loader::Error(who + "states no noise level for " +
                                (image.pole.empty() ? "its image" : image.pole) +
                                "; leave out --denoise");
        if ((!beta || noiseRemoved) && !incidence)
            throw loader::Error(who + "tells no incidence angles");
        BetaNought made{image.pole, openRaster(opened, beta ? *beta : *sigma), !beta, {}};
        std::unique_ptr<Raster> noiseDb = noise ? openRaster(opened, *noise) : nullptr;
        if (noiseDb) {
            const std::vector<float> levels = lineOf(*noiseDb, 0);
            const auto [low, high] = std::minmax_element(levels.begin(), levels.end());
            made.noiseDb = {*low, *high};
        }
        if (!beta || noiseRemoved)
            made.power = std::make_unique<BetaRaster>(std::move(made.power),
                                                      noiseRemoved ? std::move(noiseDb) : nullptr,
                                                      openRaster(opened, *incidence), !beta);
        all.push_back(std::move(made));
    }
    return all;
}

} // namespace product
