// SPDX-License-Identifier: MIT
#include "pictures/image_averager.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

/// @return for each of `cells` the first of `size` positions in it; then `size`.
std::vector<std::uint32_t> boundsOf(std::uint32_t size, std::uint32_t cells) {
    std::vector<std::uint32_t> bounds(cells + 1);
    for (std::uint64_t cell = 0; cell <= cells; ++cell)
        bounds[cell] = static_cast<std::uint32_t>((cell * size + cells - 1) / cells);
    return bounds;
}

std::size_t cellOf(const std::vector<std::uint32_t>& bounds, std::uint32_t place) {
    return static_cast<std::size_t>(std::upper_bound(bounds.begin(), bounds.end(), place) -
                                    bounds.begin() - 1);
}

constexpr double unit = 1 << 30; // of cosines and sines in whole numbers

struct Direction {
    std::int32_t cosine, sine;
};

/// The direction of every 16-bit phase.
const std::vector<Direction>& directions() {
    static const std::vector<Direction> table = [] {
        std::vector<Direction> made(65536);
        for (std::size_t pattern = 0; pattern < made.size(); ++pattern) {
            const double angle = static_cast<std::int16_t>(pattern) * (std::numbers::pi / 32768);
            made[pattern] = {static_cast<std::int32_t>(std::lround(unit * std::cos(angle))),
                             static_cast<std::int32_t>(std::lround(unit * std::sin(angle)))};
        }
        return made;
    }();
    return table;
}

using Sums = std::vector<std::uint64_t>;

void addPower(const std::uint16_t* line, Sums& power) {
    std::uint64_t* sums = power.data();
    for (std::size_t i = 0, width = power.size(); i < width; ++i) {
        const std::uint32_t amplitude = line[i], square = amplitude * amplitude;
        sums[i] += square;
    }
}

void addDirections(const std::uint16_t* line, Sums& cosines, Sums& sines) {
    const Direction* table = directions().data();
    for (std::size_t i = 0, width = cosines.size(); i < width; ++i) {
        const Direction direction = table[line[i]];
        cosines[i] += static_cast<std::uint64_t>(std::int64_t{direction.cosine});
        sines[i] += static_cast<std::uint64_t>(std::int64_t{direction.sine});
    }
}

} // namespace

ImageAverager::ImageAverager(Kind kind, std::uint32_t width, std::uint32_t height,
                             std::uint32_t columns, std::uint32_t rows)
    : kind_(kind), outWidth_(columns), outHeight_(rows), columnStart_(boundsOf(width, outWidth_)),
      lineStart_(boundsOf(height, outHeight_)), first_(std::size_t{outWidth_} * outHeight_),
      second_(kind == Kind::phase ? first_.size() : 0) {}

/// Sums the lines of one row of cells column by column, then sums the columns into the cells.
void ImageAverager::add(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height,
                        const std::uint16_t* samples, std::size_t stride) {
    Sums first(width), second(kind_ == Kind::phase ? width : 0);
    const std::uint32_t end = y + height;
    for (std::size_t row = cellOf(lineStart_, y); y < end; ++row) {
        for (const std::uint32_t rowEnd = std::min(end, lineStart_[row + 1]); y < rowEnd; ++y) {
            kind_ == Kind::magnitude ? addPower(samples, first)
                                     : addDirections(samples, first, second);
            samples += stride;
        }
        const std::lock_guard lock(mutex_);
        addColumns(row, x, first, first_);
        addColumns(row, x, second, second_);
        std::fill(first.begin(), first.end(), 0);
        std::fill(second.begin(), second.end(), 0);
    }
}

void ImageAverager::addColumns(std::size_t row, std::uint32_t x, const Sums& columns, Sums& cells) {
    std::size_t column = cellOf(columnStart_, x);
    for (std::size_t i = 0; i < columns.size(); ++column)
        for (; i < columns.size() && x + i < columnStart_[column + 1]; ++i)
            cells[row * outWidth_ + column] += columns[i];
}

std::uint64_t ImageAverager::samplesIn(std::size_t cell) const {
    const std::size_t row = cell / outWidth_, column = cell % outWidth_;
    const std::uint64_t lines = lineStart_[row + 1] - lineStart_[row];
    return lines * (columnStart_[column + 1] - columnStart_[column]);
}

std::vector<float> ImageAverager::means() const {
    std::vector<float> means(first_.size());
    for (std::size_t i = 0; i < means.size(); ++i) {
        const auto sum = [&](const std::vector<std::uint64_t>& sums) { // of directions
            return static_cast<double>(static_cast<std::int64_t>(sums[i]));
        };
        means[i] = static_cast<float>(kind_ == Kind::phase ? std::atan2(sum(second_), sum(first_))
                                                           : static_cast<double>(first_[i]) /
                                                                 static_cast<double>(samplesIn(i)));
    }
    return means;
}
