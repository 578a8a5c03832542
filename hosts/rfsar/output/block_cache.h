// SPDX-License-Identifier: MIT
#pragma once

#include "product/images/raster.h"

#include <future>
#include <list>
#include <map>
#include <mutex>

/// Caches the blocks of an image that were used last, so that neighbouring windows read each block
/// once. Any thread may use it.
class BlockCache {
public:
    /// @param raster  must outlive this.
    BlockCache(const product::Raster& raster, std::size_t bytes)
        : raster_(raster), room_(bytes / raster.blockBytes()) {}

    /// Copies the samples of a rectangle, line by line; beyond the image the edge samples repeat.
    /// @throws loader::Error when a block cannot be read.
    void copy(std::int64_t x, std::int64_t y, std::uint32_t width, std::uint32_t height,
              std::byte* samples);

private:
    using Block = std::shared_ptr<const std::vector<std::byte>>;
    using Place = std::pair<std::uint32_t, std::uint32_t>; ///< row, column
    struct Kept {
        std::shared_future<Block> block;
        std::list<Place>::iterator use;
    };

    Block blockAt(const Place& place);
    Block read(const Place& place) const;

    const product::Raster& raster_;
    const std::size_t room_;
    std::mutex mutex_;
    std::map<Place, Kept> kept_;
    std::list<Place> used_; ///< the latest first
};
