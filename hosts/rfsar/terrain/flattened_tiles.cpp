// SPDX-License-Identifier: MIT
#include "terrain/flattened_tiles.h"

#include "product/radiometry/power.h"
#include "terrain/terrain_strips.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace {

constexpr float none = std::numeric_limits<float>::quiet_NaN();

} // namespace

FlattenedTiles::Source::Source(std::unique_ptr<product::Raster> made, Resampling method,
                               double reduction, double noData, std::size_t memory,
                               std::size_t slots)
    : raster(std::move(made)), cache(*raster, memory / 4 * 3),
      resampler(*raster, cache, method, reduction, noData, memory / 4 / slots) {}

FlattenedTiles::FlattenedTiles(const AreaFile& areas,
                               const std::vector<product::BetaNought>& images, Resampling method,
                               double reduction, bool inDb, std::size_t memory, std::size_t slots)
    : images_(images), inDb_(inDb) {
    const auto add = [&](std::unique_ptr<product::Raster> raster, Resampling by, double noData,
                         std::size_t share) {
        sources_.push_back(
            std::make_unique<Source>(std::move(raster), by, reduction, noData, share, slots));
    };
    // Images of whole lines, or compressed ones, are dear to read again; the passing file is not.
    const std::size_t little = memory / 16, much = (memory - 4 * little) / images.size();
    for (const product::BetaNought& image : images)
        add(std::make_unique<LitRaster>(areas, image.power.get()), method, 0, much);
    add(std::make_unique<LitRaster>(areas, nullptr), method, 0, little);
    add(std::make_unique<PlaneRaster>(areas, AreaFile::gammaArea), method, 0, little);
    add(std::make_unique<PlaneRaster>(areas, AreaFile::sigmaArea), method, 0, little);
    add(std::make_unique<PlaneRaster>(areas, AreaFile::mask), Resampling::nearest,
        +RtcMask::outside, little);
}

std::vector<kimg::TiffBand> FlattenedTiles::bandsOf(
    const std::vector<product::BetaNought>& images, bool inDb) {
    std::vector<kimg::TiffBand> bands;
    for (const product::BetaNought& image : images)
        bands.push_back({"GAMMA_NOUGHT_RTC" + (image.pole.empty() ? "" : "_" + image.pole),
                         inDb ? "dB" : ""});
    bands.push_back({"MASK", ""});
    bands.push_back({"LOCAL_INCIDENCE_ANGLE", "degree"});
    bands.push_back({"SCATTERING_AREA", ""});
    bands.push_back({"GAMMA_TO_SIGMA_RATIO", ""});
    return bands;
}

void FlattenedTiles::draw(const KxfrPixel* pixels, std::uint32_t width, std::uint32_t height,
                          const std::vector<float*>& bands, std::size_t stride,
                          Scratch& scratch) const {
    scratch.sources.resize(sources_.size());
    for (std::size_t i = 0; i < sources_.size(); ++i) {
        scratch.sources[i].resize(std::size_t{width} * height);
        sources_[i]->resampler.draw({pixels,
                                     reinterpret_cast<std::byte*>(scratch.sources[i].data()), width,
                                     height, width, width},
                                    scratch.bytes);
    }
    const std::size_t poles = images_.size();
    const std::vector<float>&ones = scratch.sources[poles], &gamma = scratch.sources[poles + 1],
                       &sigma = scratch.sources[poles + 2], &mask = scratch.sources[poles + 3];
    for (std::uint32_t line = 0; line < height; ++line)
        for (std::uint32_t i = 0; i < width; ++i) {
            const std::size_t from = std::size_t{line} * width + i, to = line * stride + i;
            const bool valid =
                (static_cast<int>(mask[from]) & +RtcMask::valid) != 0 && gamma[from] > 0;
            const float ratio = valid ? gamma[from] / sigma[from] : none;
            for (std::size_t pole = 0; pole < poles; ++pole) {
                const float value = valid ? scratch.sources[pole][from] / gamma[from] : none;
                bands[pole][to] = inDb_ ? product::decibelsOf(value) : value;
            }
            bands[poles][to] = mask[from];
            bands[poles + 1][to] =
                std::acos(std::min(ratio, 1.0F)) * static_cast<float>(180 / std::numbers::pi);
            bands[poles + 2][to] = valid ? gamma[from] / ones[from] : none;
            bands[poles + 3][to] = ratio;
        }
}
