// SPDX-License-Identifier: MIT
#include "output/block_cache.h"

#include <algorithm>

BlockCache::Block BlockCache::read(const Place& place) const {
    auto samples = std::make_shared<std::vector<std::byte>>(raster_.blockBytes());
    raster_.readBlock(place.first, place.second, samples->data());
    return samples;
}

/// The first thread that asks reads the block; others wait for it.
BlockCache::Block BlockCache::blockAt(const Place& place) {
    std::unique_lock lock(mutex_);
    if (const auto found = kept_.find(place); found != kept_.end()) {
        used_.splice(used_.begin(), used_, found->second.use);
        const auto block = found->second.block;
        lock.unlock();
        return block.get();
    }
    std::packaged_task<Block()> task([&] { return read(place); });
    const auto block = task.get_future().share();
    used_.push_front(place);
    kept_[place] = {block, used_.begin()};
    while (used_.size() > std::max<std::size_t>(room_, 1)) {
        kept_.erase(used_.back());
        used_.pop_back();
    }
    lock.unlock();
    task();
    return block.get();
}

void BlockCache::copy(std::int64_t x, std::int64_t y, std::uint32_t width, std::uint32_t height,
                      std::byte* samples) {
    const std::size_t sample = raster_.sampleBytes(), stride = sample * width;
    const std::int64_t left = std::max<std::int64_t>(x, 0);
    const std::int64_t right = std::min<std::int64_t>(x + width, raster_.width());
    const std::int64_t top = std::max<std::int64_t>(y, 0);
    const std::int64_t bottom = std::min<std::int64_t>(y + height, raster_.height());
    const std::int64_t blockWidth = raster_.blockWidth(), blockHeight = raster_.blockHeight();
    for (std::int64_t row = top / blockHeight; row * blockHeight < bottom; ++row)
        for (std::int64_t column = left / blockWidth; column * blockWidth < right; ++column) {
            const Block block =
                blockAt({static_cast<std::uint32_t>(row), static_cast<std::uint32_t>(column)});
            const std::int64_t from = std::max(left, column * blockWidth);
            const std::int64_t to = std::min(right, (column + 1) * blockWidth);
            const std::int64_t end = std::min(bottom, (row + 1) * blockHeight);
            for (std::int64_t line = std::max(top, row * blockHeight); line < end; ++line)
                std::copy_n(block->data() + sample * static_cast<std::size_t>(
                                                         (line - row * blockHeight) * blockWidth +
                                                         from - column * blockWidth),
                            sample * static_cast<std::size_t>(to - from),
                            samples + stride * static_cast<std::size_t>(line - y) +
                                sample * static_cast<std::size_t>(from - x));
        }
    for (std::int64_t line = top; line < bottom; ++line) {
        std::byte* start = samples + stride * static_cast<std::size_t>(line - y);
        for (std::int64_t at = left - 1; at >= x; --at)
            std::copy_n(start + sample * static_cast<std::size_t>(left - x), sample,
                        start + sample * static_cast<std::size_t>(at - x));
        for (std::int64_t at = right; at < x + width; ++at)
            std::copy_n(start + sample * static_cast<std::size_t>(right - 1 - x), sample,
                        start + sample * static_cast<std::size_t>(at - x));
    }
    for (std::int64_t line = y; line < y + height; ++line) {
        const std::int64_t inside = std::clamp(line, top, bottom - 1);
        if (inside != line)
            std::copy_n(samples + stride * static_cast<std::size_t>(inside - y), stride,
                        samples + stride * static_cast<std::size_t>(line - y));
    }
}
