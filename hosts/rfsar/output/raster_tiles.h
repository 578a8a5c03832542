// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/raster.h"

/// Cuts a window of an image into square tiles, padded at the right and lower edges.
class RasterTiles {
public:
    /// @param raster  must outlive this.
    RasterTiles(const product::Raster& raster, const product::Window& window,
                std::uint32_t tileSize);

    std::uint32_t rows() const { return rows_; }
    std::uint32_t columns() const { return columns_; }
    std::size_t tileBytes() const { return raster_.sampleBytes() * tileSize_ * tileSize_; }

    /// @return how many tiles of a row are best read together, at most `room`: one if the image's
    ///         own blocks are these tiles, else as many as fit, so that each block is read once.
    std::uint32_t tilesTogether(std::size_t room) const;

    /// Memory for `read`; a thread reuses it from call to call.
    using Scratch = std::vector<std::byte>;

    /// Reads neighbouring tiles of one row. Any thread may call it.
    /// @param samples  room for count * tileBytes().
    void read(std::uint32_t row, std::uint32_t firstColumn, std::uint32_t count, std::byte* samples,
              Scratch& scratch) const;

private:
    void scatter(const product::Window& region, std::uint32_t blockRow, std::uint32_t blockColumn,
                 const std::byte* block, std::byte* samples) const;

    const product::Raster& raster_;
    product::Window window_;
    std::uint32_t tileSize_, rows_, columns_;
    bool tilesAreBlocks_;
};
