// SPDX-License-Identifier: MIT
#include "sparse_statistics.h"

#include "loader/plugin.h"

#include <algorithm>
#include <cmath>

namespace rf_sar_gdal {
namespace {

constexpr double wantedSamples = 1 << 21, mostSamples = 1 << 25, leastBlocks = 9;

/// @return about that many of `count` indices, evenly spaced.
std::vector<std::uint32_t> spread(std::uint32_t count, double wanted) {
    const auto places =
        static_cast<std::uint32_t>(std::clamp(std::floor(wanted), 1.0, double(count)));
    std::vector<std::uint32_t> chosen;
    for (std::uint64_t i = 0; i < places; ++i)
        chosen.push_back(static_cast<std::uint32_t>((2 * i + 1) * count / (2 * places)));
    return chosen;
}

template <class Sample>
void addBlock(const product::Raster& raster, std::uint32_t row, std::uint32_t column,
              std::vector<float>& numbers) {
    const std::uint32_t across = raster.blockWidth(), down = raster.blockHeight();
    std::vector<Sample> block(std::size_t{across} * down);
    raster.readBlock(row, column, block.data());
    const std::uint32_t width = std::min(across, raster.width() - column * across);
    const std::uint32_t height = std::min(down, raster.height() - row * down);
    for (std::uint32_t line = 0; line < height; ++line)
        for (std::uint32_t i = 0; i < width; ++i)
            if (const auto number = static_cast<float>(block[std::size_t{line} * across + i]);
                std::isfinite(number))
                numbers.push_back(number);
}

} // namespace

std::optional<SparseStatistics> sparseStatistics(const product::Raster& raster) {
    const std::uint32_t columns = (raster.width() - 1) / raster.blockWidth() + 1;
    const std::uint32_t rows = (raster.height() - 1) / raster.blockHeight() + 1;
    const double blockSamples = double(raster.blockWidth()) * raster.blockHeight();
    const double blocks = std::max(leastBlocks, wantedSamples / blockSamples);
    if (std::min(blocks, double(columns) * rows) * blockSamples > mostSamples)
        return std::nullopt;
    const auto chosenColumns = spread(columns, std::sqrt(blocks * columns / rows) + 0.5);
    std::vector<float> numbers;
    try {
        for (const std::uint32_t row : spread(rows, blocks / double(chosenColumns.size())))
            for (const std::uint32_t column : chosenColumns)
                switch (raster.type()) {
                case kimg::SampleType::uint16:
                    addBlock<std::uint16_t>(raster, row, column, numbers);
                    break;
                case kimg::SampleType::int16:
                    addBlock<std::int16_t>(raster, row, column, numbers);
                    break;
                case kimg::SampleType::float32:
                    addBlock<float>(raster, row, column, numbers);
                    break;
                default:
                    return std::nullopt;
                }
    } catch (const loader::Error&) {
        return std::nullopt; // reading the pixels reports the error
    }
    if (numbers.empty())
        return std::nullopt;
    const auto cut = static_cast<std::ptrdiff_t>(numbers.size() / 20);
    const auto first = numbers.begin() + cut, last = numbers.end() - 1 - cut;
    std::nth_element(numbers.begin(), first, numbers.end());
    const double lowest = *first; // which does not stay there
    std::nth_element(first, last, numbers.end());
    double sum = 0, squares = 0;
    for (auto number = first; number <= last; ++number) {
        sum += *number;
        squares += double(*number) * *number;
    }
    const auto count = static_cast<double>(last - first + 1);
    const double mean = sum / count;
    return SparseStatistics{lowest, *last, mean,
                            std::sqrt(std::max(0.0, squares / count - mean * mean))};
}

} // namespace rf_sar_gdal
