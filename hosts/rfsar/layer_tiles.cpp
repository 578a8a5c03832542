#include "layer_tiles.h"

#include <algorithm>

LayerTiles::LayerTiles(const loader::Layer& layer, const product::Window& window,
                       std::uint32_t tileSize)
    : layer_(layer), window_(window), tileSize_(tileSize),
      rows_((window.height + tileSize - 1) / tileSize),
      columns_((window.width + tileSize - 1) / tileSize),
      tilesAreBlocks_(layer.blockWidth() == tileSize && layer.blockHeight() == tileSize &&
                      window.x % tileSize == 0 && window.y % tileSize == 0) {
    layer.requireInside(window.x, window.y, window.width, window.height);
}

std::uint32_t LayerTiles::tilesTogether(std::size_t room) const {
    if (tilesAreBlocks_)
        return 1;
    return static_cast<std::uint32_t>(std::clamp<std::size_t>(room, 1, columns_));
}

void LayerTiles::read(std::uint32_t row, std::uint32_t firstColumn, std::uint32_t count,
                      std::uint16_t* samples, Scratch& scratch) const {
    if (tilesAreBlocks_) {
        const std::size_t tileSamples = std::size_t{tileSize_} * tileSize_;
        for (std::uint32_t i = 0; i < count; ++i)
            layer_.readBlock(window_.y / tileSize_ + row, window_.x / tileSize_ + firstColumn + i,
                             samples + i * tileSamples);
        return;
    }
    product::Window region{window_.x + firstColumn * tileSize_, window_.y + row * tileSize_, 0, 0};
    region.width = std::min(count * tileSize_, window_.x + window_.width - region.x);
    region.height = std::min(tileSize_, window_.y + window_.height - region.y);
    scratch.resize(layer_.blockBytes() / sizeof scratch[0]);
    const std::uint32_t width = layer_.blockWidth(), height = layer_.blockHeight();
    for (std::uint32_t blockRow = region.y / height;
         blockRow <= (region.y + region.height - 1) / height; ++blockRow)
        for (std::uint32_t blockColumn = region.x / width;
             blockColumn <= (region.x + region.width - 1) / width; ++blockColumn) {
            layer_.readBlock(blockRow, blockColumn, scratch.data());
            scatter(region, blockRow, blockColumn, scratch.data(), samples);
        }
}

/// Copies what a block has of the region into the region's tiles.
void LayerTiles::scatter(const product::Window& region, std::uint32_t blockRow,
                         std::uint32_t blockColumn, const std::uint16_t* block,
                         std::uint16_t* samples) const {
    const std::uint32_t blockX = blockColumn * layer_.blockWidth();
    const std::uint32_t blockY = blockRow * layer_.blockHeight();
    const std::uint32_t left = std::max(region.x, blockX);
    const std::uint32_t right = std::min(region.x + region.width, blockX + layer_.blockWidth());
    const std::uint32_t top = std::max(region.y, blockY);
    const std::uint32_t bottom = std::min(region.y + region.height, blockY + layer_.blockHeight());
    const std::size_t tileSamples = std::size_t{tileSize_} * tileSize_;
    for (std::uint32_t y = top; y < bottom; ++y) {
        const std::uint16_t* line = block + std::size_t{y - blockY} * layer_.blockWidth();
        for (std::uint32_t x = left; x < right;) {
            const std::uint32_t inRegion = x - region.x;
            const std::uint32_t inTile = inRegion % tileSize_;
            const std::uint32_t run = std::min(right - x, tileSize_ - inTile);
            std::copy_n(line + (x - blockX), run,
                        samples + inRegion / tileSize_ * tileSamples +
                            std::size_t{y - region.y} * tileSize_ + inTile);
            x += run;
        }
    }
}
