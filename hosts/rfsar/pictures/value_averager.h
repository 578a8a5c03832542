// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <vector>

/// Shrinks an image of real numbers to the means of cells. NaN does not count. The image arrives in
/// bands of lines. Each band is summed on its own, on any thread, and the bands are joined in
/// order, so the result does not depend on the threads.
class ValueAverager {
public:
    /// @param columns, rows  cells of the result; no more than the image has.
    ValueAverager(std::uint32_t width, std::uint32_t height, std::uint32_t columns,
                  std::uint32_t rows);

    /// The sums of some lines of the image.
    class Band {
    public:
        /// @param values  a rectangle of the band whose first value is at (x, y) of the image.
        /// @param stride  values from one line to the next.
        void add(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height,
                 const float* values, std::size_t stride);

    private:
        friend class ValueAverager;
        const ValueAverager* whole_ = nullptr;
        std::uint32_t firstRow_ = 0;
        std::vector<double> sums_;
        std::vector<std::uint32_t> counts_;
    };

    /// @return an empty band of `lines` lines from `firstLine` on.
    Band band(std::uint32_t firstLine, std::uint32_t lines) const;
    void join(const Band& band);

    /// @return the mean of each cell, row by row; NaN for a cell without values.
    std::vector<float> means() const;

private:
    std::uint32_t columns_;
    std::vector<std::uint32_t> columnOf_, rowOf_; ///< the cell of each sample and line
    std::vector<double> sums_;
    std::vector<std::uint64_t> counts_;
};
