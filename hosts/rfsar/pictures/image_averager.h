// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <vector>

/// Shrinks an image that arrives in pieces. Magnitudes are averaged in power, as speckle requires;
/// phases are averaged as directions. Sums are whole numbers, so the result does not depend on the
/// order of the pieces. Many threads may add pieces at once.
class ImageAverager {
public:
    enum class Kind { magnitude, phase };

    /// @param columns, rows  cells of the result; no more than the image has.
    ImageAverager(Kind kind, std::uint32_t width, std::uint32_t height, std::uint32_t columns,
                  std::uint32_t rows);

    /// Adds a rectangle of samples whose first is at (x, y). Phases are the bit patterns of signed
    /// samples.
    /// @param stride  samples from one line to the next.
    void add(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height,
             const std::uint16_t* samples, std::size_t stride);

    /// @return for each cell, row by row, the mean power of its magnitudes, or the mean direction
    ///         of its phases in radians (-pi..pi).
    std::vector<float> means() const;

private:
    /// The first image column or line that falls into each cell, and the end.
    using Bounds = std::vector<std::uint32_t>;

    void addColumns(std::size_t row, std::uint32_t x, const std::vector<std::uint64_t>& columns,
                    std::vector<std::uint64_t>& cells);
    std::uint64_t samplesIn(std::size_t cell) const;

    Kind kind_;
    std::uint32_t outWidth_;
    std::uint32_t outHeight_;
    Bounds columnStart_, lineStart_;
    std::mutex mutex_;
    std::vector<std::uint64_t> first_;  ///< sums of power, or of cosines in two's complement
    std::vector<std::uint64_t> second_; ///< sums of sines, likewise
};
