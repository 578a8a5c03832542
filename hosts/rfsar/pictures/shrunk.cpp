// SPDX-License-Identifier: MIT
#include "pictures/shrunk.h"

#include "output/console.h"
#include "output/ordered_work.h"
#include "pictures/image_averager.h"
#include "pictures/value_averager.h"

#include <algorithm>
#include <complex>
#include <cstring>
#include <functional>

namespace {

using kimg::SampleType;

/// A block and its position in the image.
struct Block {
    std::uint32_t x, y, width, height; ///< as far as it lies in the image
    const std::byte* samples;
    std::size_t stride; ///< samples from one line to the next
};

/// The work on an image's blocks: the blocks of one item in one slot, on any thread.
struct BlockWork {
    std::function<void(std::uint32_t firstLine, std::uint32_t lines, std::size_t slot)> begin;
    std::function<void(const Block& block, std::size_t slot)> read;
    std::function<void(std::size_t slot)> end; ///< in the order of the lines, one at a time
};

std::size_t slotsAtOnce() {
    return 2 * machineThreads();
}

/// Rows of blocks on all cores.
void forEachBlock(const product::Raster& raster, const BlockWork& blocks) {
    constexpr std::uint32_t linesTogether = 256; // about
    const std::uint32_t lines =
        std::max(1U, linesTogether / raster.blockHeight()) * raster.blockHeight();
    OrderedWork work;
    work.items = (raster.height() + lines - 1) / lines;
    work.slots = slotsAtOnce();
    std::vector<std::vector<std::byte>> buffers(work.slots);
    work.prepare = [&](std::size_t item, std::size_t slot) {
        std::byte* samples = (buffers[slot].resize(raster.blockBytes()), buffers[slot].data());
        const auto top = static_cast<std::uint32_t>(item) * lines;
        const std::uint32_t bottom = std::min(top + lines, raster.height());
        blocks.begin(top, bottom - top, slot);
        for (std::uint32_t y = top; y < bottom; y += raster.blockHeight())
            for (std::uint32_t x = 0; x < raster.width(); x += raster.blockWidth()) {
                raster.readBlock(y / raster.blockHeight(), x / raster.blockWidth(), samples);
                blocks.read({x, y, std::min(raster.blockWidth(), raster.width() - x),
                             std::min(raster.blockHeight(), raster.height() - y), samples,
                             raster.blockWidth()},
                            slot);
            }
    };
    console::Progress progress("averaging " + raster.name(), work.items);
    work.take = [&](std::size_t item, std::size_t slot) {
        blocks.end(slot);
        progress.advanceTo(item + 1);
    };
    run(work);
}

template <class Part>
void toPower(const std::byte* samples, std::size_t count, std::vector<float>& power) {
    power.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        Part parts[2];
        std::memcpy(parts, samples + i * sizeof parts, sizeof parts);
        const auto real = static_cast<double>(parts[0]), imaginary = static_cast<double>(parts[1]);
        power[i] = static_cast<float>(real * real + imaginary * imaginary);
    }
}

/// The numbers to average: real samples unchanged, the power of complex samples.
const float* valuesOf(SampleType type, const Block& block, std::vector<float>& room) {
    const std::size_t count = block.stride * block.height;
    switch (type) {
    case SampleType::complexInt16:
        toPower<std::int16_t>(block.samples, count, room);
        return room.data();
    case SampleType::complexFloat32:
        toPower<float>(block.samples, count, room);
        return room.data();
    case SampleType::complexFloat64:
        toPower<double>(block.samples, count, room);
        return room.data();
    default:
        return reinterpret_cast<const float*>(block.samples);
    }
}

} // namespace

Quantity quantityOf(const product::Raster& raster) {
    if (raster.type() == SampleType::int16)
        return Quantity::phase;
    switch (raster.quantity()) {
    case product::Raster::Quantity::phase: // in radians
    case product::Raster::Quantity::value:
    case product::Raster::Quantity::decibels:
        return Quantity::value;
    default:
        return Quantity::power;
    }
}

std::vector<float> shrink(const product::Raster& raster, std::uint32_t columns,
                          std::uint32_t rows) {
    if (raster.sampleBytes() == sizeof(std::uint16_t)) {
        const auto kind = quantityOf(raster) == Quantity::phase ? ImageAverager::Kind::phase
                                                                : ImageAverager::Kind::magnitude;
        ImageAverager averager(kind, raster.width(), raster.height(), columns, rows);
        forEachBlock(raster, {[](std::uint32_t, std::uint32_t, std::size_t) {},
                              [&](const Block& b, std::size_t) {
                                  averager.add(b.x, b.y, b.width, b.height,
                                               reinterpret_cast<const std::uint16_t*>(b.samples),
                                               b.stride);
                              },
                              [](std::size_t) {}});
        return averager.means();
    }
    ValueAverager averager(raster.width(), raster.height(), columns, rows);
    std::vector<ValueAverager::Band> bands(slotsAtOnce());
    std::vector<std::vector<float>> power(slotsAtOnce());
    forEachBlock(raster, {[&](std::uint32_t first, std::uint32_t lines, std::size_t slot) {
                              bands[slot] = averager.band(first, lines);
                          },
                          [&](const Block& b, std::size_t slot) {
                              bands[slot].add(b.x, b.y, b.width, b.height,
                                              valuesOf(raster.type(), b, power[slot]), b.stride);
                          },
                          [&](std::size_t slot) { averager.join(bands[slot]); }});
    return averager.means();
}
