// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/tiff_writer.h"
#include "output/console.h"
#include "output/ordered_work.h"
#include "product/place/placement.h"

#include <algorithm>
#include <functional>
#include <string>

/// Tiles of an image that all cores draw and one thread takes in order.
struct TileWork {
    std::string title; ///< of the progress
    std::uint32_t width = 0, height = 0;
    std::size_t slots = 1;
    /// Draws a tile in a slot. Tiles at the image's edges are smaller.
    std::function<void(const product::Window& tile, std::size_t slot)> draw;
    std::function<void(std::uint32_t row, std::uint32_t column, std::size_t slot)> take;
};

inline void run(const TileWork& tiles) {
    constexpr std::uint32_t side = kimg::TiffWriter::tileSize;
    const std::uint32_t columns = (tiles.width + side - 1) / side;
    const auto row = [&](std::size_t item) { return static_cast<std::uint32_t>(item / columns); };
    const auto column = [&](std::size_t item) {
        return static_cast<std::uint32_t>(item % columns);
    };
    OrderedWork work;
    work.slots = tiles.slots;
    work.items = std::size_t{columns} * ((tiles.height + side - 1) / side);
    work.prepare = [&](std::size_t item, std::size_t slot) {
        const std::uint32_t x = column(item) * side, y = row(item) * side;
        tiles.draw({x, y, std::min(side, tiles.width - x), std::min(side, tiles.height - y)}, slot);
    };
    console::Progress progress(tiles.title, work.items);
    work.take = [&](std::size_t item, std::size_t slot) {
        tiles.take(row(item), column(item), slot);
        progress.advanceTo(item + 1);
    };
    run(work);
}
