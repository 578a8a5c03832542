// SPDX-License-Identifier: MIT
#include "output/raster_tiles.h"

#include <algorithm>

RasterTiles::RasterTiles(const product::Raster& raster, const product::Window& window,
                         std::uint32_t tileSize)
    : raster_(raster), window_(window), tileSize_(tileSize),
      rows_((window.height + tileSize - 1) / tileSize),
      columns_((window.width + tileSize - 1) / tileSize),
      tilesAreBlocks_(raster.blockWidth() == tileSize && raster.blockHeight() == tileSize &&
                      window.x % tileSize == 0 && window.y % tileSize == 0) {
    raster.requireInside(window);
}

std::uint32_t RasterTiles::tilesTogether(std::size_t room) const {
    if (tilesAreBlocks_)
        return 1;
    return static_cast<std::uint32_t>(std::clamp<std::size_t>(room, 1, columns_));
}

void RasterTiles::read(std::uint32_t row, std::uint32_t firstColumn, std::uint32_t count,
                       std::byte* samples, Scratch& scratch) const {
    if (tilesAreBlocks_) {
        for (std::uint32_t i = 0; i < count; ++i)
            raster_.readBlock(window_.y / tileSize_ + row, window_.x / tileSize_ + firstColumn + i,
                              samples + i * tileBytes());
        return;
    }
    product::Window region{window_.x + firstColumn * tileSize_, window_.y + row * tileSize_, 0, 0};
    region.width = std::min(count * tileSize_, window_.x + window_.width - region.x);
    region.height = std::min(tileSize_, window_.y + window_.height - region.y);
    scratch.resize(raster_.blockBytes());
    const std::uint32_t width = raster_.blockWidth(), height = raster_.blockHeight();
    for (std::uint32_t blockRow = region.y / height;
         blockRow <= (region.y + region.height - 1) / height; ++blockRow)
        for (std::uint32_t blockColumn = region.x / width;
             blockColumn <= (region.x + region.width - 1) / width; ++blockColumn) {
            raster_.readBlock(blockRow, blockColumn, scratch.data());
            scatter(region, blockRow, blockColumn, scratch.data(), samples);
        }
}

/// Copies what a block has of the region into the region's tiles.
void RasterTiles::scatter(const product::Window& region, std::uint32_t blockRow,
                          std::uint32_t blockColumn, const std::byte* block,
                          std::byte* samples) const {
    const std::uint32_t blockX = blockColumn * raster_.blockWidth();
    const std::uint32_t blockY = blockRow * raster_.blockHeight();
    const std::uint32_t left = std::max(region.x, blockX);
    const std::uint32_t right = std::min(region.x + region.width, blockX + raster_.blockWidth());
    const std::uint32_t top = std::max(region.y, blockY);
    const std::uint32_t bottom = std::min(region.y + region.height, blockY + raster_.blockHeight());
    const std::size_t sample = raster_.sampleBytes();
    for (std::uint32_t y = top; y < bottom; ++y) {
        const std::byte* line = block + sample * raster_.blockWidth() * (y - blockY);
        for (std::uint32_t x = left; x < right;) {
            const std::uint32_t inRegion = x - region.x;
            const std::uint32_t inTile = inRegion % tileSize_;
            const std::uint32_t run = std::min(right - x, tileSize_ - inTile);
            std::copy_n(line + sample * (x - blockX), sample * run,
                        samples + inRegion / tileSize_ * tileBytes() +
                            sample * (std::size_t{y - region.y} * tileSize_ + inTile));
            x += run;
        }
    }
}
