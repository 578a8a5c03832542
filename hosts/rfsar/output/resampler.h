// SPDX-License-Identifier: MIT
#pragma once

#include "kxfr/kxfr.h"
#include "output/block_cache.h"

#include <span>

enum class Resampling { nearest, bilinear, cubic };

/// Makes a map's samples out of an image's. Any thread; each brings its own scratch.
class Resampler {
public:
    /// @param reduction  pixels of the image to one of the map, along a side; where it is above 1
    ///        the filter is widened by it.
    /// @param noData  stands where the map's pixels do not lie in the image.
    /// @param room  bytes of the image that one call may hold at a time, about.
    Resampler(const product::Raster& raster, BlockCache& cache, Resampling method, double reduction,
              double noData, std::size_t room)
        : raster_(raster), cache_(cache), method_(method), reduction_(reduction), noData_(noData),
          room_(room) {}

    using Scratch = std::vector<std::byte>;

    /// A rectangle of a map: positions in the image and the samples to fill lie alike.
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
