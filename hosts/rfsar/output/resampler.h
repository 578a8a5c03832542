// SPDX-License-Identifier: MIT
#pragma once

#include "kxfr/kxfr.h"
#include "output/block_cache.h"

#include <span>

enum class Resampling { nearest, bilinear, cubic };

/// Resamples an image to a map. Any thread may use it, each with its own scratch.
class Resampler {
public:
    /// @param reduction  image pixels per map pixel, along a side; if above 1, the filter is
    ///        widened by it.
    /// @param noData  the value of map pixels outside the image.
    /// @param room  approximate limit, in bytes, for image samples that one call holds at a time.
    Resampler(const product::Raster& raster, BlockCache& cache, Resampling method, double reduction,
              double noData, std::size_t room)
        : raster_(raster), cache_(cache), method_(method), reduction_(reduction), noData_(noData),
          room_(room) {}

    using Scratch = std::vector<std::byte>;

    /// A rectangle of a map: image positions, and the samples to fill in the same order.
    struct Part {
        const KxfrPixel* pixels;
        std::byte* samples;
        std::uint32_t width, height;
        std::size_t pixelStride, sampleStride; ///< from line to line, in samples
    };
    void draw(const Part& part, Scratch& scratch) const;

private:
    const product::Raster& raster_;
    BlockCache& cache_;
    Resampling method_;
    double reduction_, noData_;
    std::size_t room_;
};
