#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// Shrinks an image that comes in pieces to a small one. Magnitudes are averaged in power, the mean
/// that speckle asks for; phases as directions. One thread at a time.
class ImageAverager {
public:
    enum class Kind { magnitude, phase };

    /// @param longSide  pixels of the result's long side; never more than the image has.
    ImageAverager(Kind kind, std::uint32_t width, std::uint32_t height, std::uint32_t longSide);

    std::uint32_t width() const { return outWidth_; }
    std::uint32_t height() const { return outHeight_; }

    /// Adds samples of one line, from column x on. Phases are the patterns of signed samples.
    void add(std::uint32_t x, std::uint32_t line, std::span<const std::uint16_t> samples);

    /// @return width() * height() grey values: magnitudes stretched between the percentiles 1 and
    ///         99 with a square root, phases -pi..pi as 0..255. Pixels without data are 0.
    std::vector<std::uint8_t> grey() const;

private:
    std::vector<std::uint8_t> greyOfMagnitude() const;
    std::vector<std::uint8_t> greyOfPhase() const;

    Kind kind_;
    std::uint32_t width_;
    std::uint32_t height_;
    std::uint32_t outWidth_;
    std::uint32_t outHeight_;
    std::vector<std::uint32_t> outColumn_; ///< of every image column
    std::vector<double> first_;            ///< sums of power, or of cosines
    std::vector<double> second_;           ///< sums of sines
    std::vector<std::uint32_t> count_;
};
