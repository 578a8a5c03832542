#include "pictures/image_averager.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

std::uint32_t shrunk(std::uint32_t size, std::uint32_t longest, std::uint32_t wanted) {
    if (longest <= wanted)
        return size;
    const double scaled = std::round(static_cast<double>(size) * wanted / longest);
    return std::max(1U, static_cast<std::uint32_t>(scaled));
}

/// @return for each of `cells`, the first of `size` places that falls into it; then `size`.
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
                             std::uint32_t longSide)
    : kind_(kind), width_(width), height_(height),
      outWidth_(shrunk(width, std::max(width, height), longSide)),
      outHeight_(shrunk(height, std::max(width, height), longSide)),
      columnStart_(boundsOf(width, outWidth_)), lineStart_(boundsOf(height, outHeight_)),
      first_(std::size_t{outWidth_} * outHeight_),
      second_(kind == Kind::phase ? first_.size() : 0) {}

/// Lines are summed up column by column as far as they fall into one row of cells, then the
/// columns into the cells.
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

std::vector<std::uint8_t> ImageAverager::grey() const {
    return kind_ == Kind::magnitude ? greyOfMagnitude() : greyOfPhase();
}

std::vector<std::uint8_t> ImageAverager::greyOfMagnitude() const {
    std::vector<float> amplitude(first_.size());
    std::vector<float> seen;
    for (std::size_t i = 0; i < first_.size(); ++i) {
        amplitude[i] = static_cast<float>(
            std::sqrt(static_cast<double>(first_[i]) / static_cast<double>(samplesIn(i))));
        if (amplitude[i] > 0)
            seen.push_back(amplitude[i]);
    }
    std::vector<std::uint8_t> grey(first_.size());
    if (seen.empty())
        return grey;
    const auto percentile = [&seen](std::size_t percent) {
        const auto at =
            seen.begin() + static_cast<std::ptrdiff_t>((seen.size() - 1) * percent / 100);
        std::nth_element(seen.begin(), at, seen.end());
        return *at;
    };
    const float low = percentile(1);
    const float high = std::max(percentile(99), std::nextafter(low, 2 * low + 1));
    for (std::size_t i = 0; i < grey.size(); ++i) {
        const float level = std::clamp((amplitude[i] - low) / (high - low), 0.0F, 1.0F);
        if (amplitude[i] > 0)
            grey[i] = static_cast<std::uint8_t>(std::lround(1 + 254 * std::sqrt(level)));
    }
    return grey;
}

std::vector<std::uint8_t> ImageAverager::greyOfPhase() const {
    std::vector<std::uint8_t> grey(first_.size());
    for (std::size_t i = 0; i < grey.size(); ++i) {
        const double angle = std::atan2(static_cast<double>(static_cast<std::int64_t>(second_[i])),
                                        static_cast<double>(static_cast<std::int64_t>(first_[i])));
        const double turn = angle / (2 * std::numbers::pi) + 0.5;
        grey[i] = static_cast<std::uint8_t>(std::lround(255 * turn));
    }
    return grey;
}
