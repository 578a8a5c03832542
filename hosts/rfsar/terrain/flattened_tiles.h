// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/tiff_writer.h"
#include "output/resampler.h"
#include "product/radiometry/beta_nought.h"
#include "terrain/area_file.h"

#include <memory>
#include <vector>

/// The bands of a terrain-flattened image, drawn at any places of the radar's image: gamma nought of
/// every polarization, mask, local incidence angle, scattering area, ratio of gamma to sigma areas.
/// A value is a ratio of sums over the pixels under it, by the weights of the resampling: sums of
/// beta nought over sums of areas, so that it is right for coarser maps too. Any thread.
class FlattenedTiles {
public:
    /// @param reduction  as Resampler has it.
    /// @param inDb  gamma nought as 10 log10.
    /// @param memory  bytes for blocks of images, about.
    /// Files and images must outlive this.
    FlattenedTiles(const AreaFile& areas, const std::vector<product::BetaNought>& images,
                   Resampling method, double reduction, bool inDb, std::size_t memory,
                   std::size_t slots);

    static std::vector<kimg::TiffBand> bandsOf(const std::vector<product::BetaNought>& images,
                                               bool inDb);

    struct Scratch {
        std::vector<std::vector<float>> sources;
        Resampler::Scratch bytes;
    };

    /// @param pixels  places in the image, line by line, `width` x `height`.
    /// @param bands  receives each band's values, `stride` apart from line to line.
    void draw(const KxfrPixel* pixels, std::uint32_t width, std::uint32_t height,
              const std::vector<float*>& bands, std::size_t stride, Scratch& scratch) const;

private:
    struct Source {
        Source(std::unique_ptr<product::Raster> made, Resampling method, double reduction,
               double noData, std::size_t memory, std::size_t slots);
        std::unique_ptr<product::Raster> raster;
        BlockCache cache;
        Resampler resampler;
    };

    const std::vector<product::BetaNought>& images_;
    bool inDb_;
    /// Of each polarization where there is lit ground; ones likewise; gamma and sigma areas; mask.
    std::vector<std::unique_ptr<Source>> sources_;
};
