#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <vector>

/// Shrinks an image that comes in pieces to a small one. Magnitudes are averaged in power, the mean
/// that speckle asks for; phases as directions. Sums are whole numbers, so that the result does not
/// depend on the order of the pieces. Pieces may be added on many threads at once.
class ImageAverager {
public:
    enum class Kind { magnitude, phase };

    /// @param longSide  pixels of the result's long side; never more than the image has.
    ImageAverager(Kind kind, std::uint32_t width, std::uint32_t height, std::uint32_t longSide);

    std::uint32_t width() const { return outWidth_; }
    std::uint32_t height() const { return outHeight_; }

    /// Adds a rectangle of samples whose first is at (x, y). Phases are the patterns of signed
    /// ones.
    /// @param stride  samples from one line to the next.
    void add(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height,
             const std::uint16_t* samples, std::size_t stride);

    /// @return width() * height() grey values: magnitudes stretched between the percentiles 1 and
    ///         99 with a square root, phases -pi..pi as 0..255. Magnitudes of
    ///         0 stay 0.
    std::vector<std::uint8_t> grey() const;

private:
    /// The first image column or line that falls into each cell, and the end.
    using Bounds = std::vector<std::uint32_t>;

    void addColumns(std::size_t row, std::uint32_t x, const std::vector<std::uint64_t>& columns,
                    std::vector<std::uint64_t>& cells);
    std::uint64_t samplesIn(std::size_t cell) const;
    std::vector<std::uint8_t> greyOfMagnitude() const;
    std::vector<std::uint8_t> greyOfPhase() const;

    Kind kind_;
    std::uint32_t width_;
    std::uint32_t height_;
    std::uint32_t outWidth_;
    std::uint32_t outHeight_;
    Bounds columnStart_, lineStart_;
    std::mutex mutex_;
    std::vector<std::uint64_t> first_;  ///< sums of power, or of cosines in two's complement
    std::vector<std::uint64_t> second_; ///< sums of sines, likewise
};
