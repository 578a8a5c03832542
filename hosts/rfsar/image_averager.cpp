#include "image_averager.h"

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

} // namespace

ImageAverager::ImageAverager(Kind kind, std::uint32_t width, std::uint32_t height,
                             std::uint32_t longSide)
    : kind_(kind), width_(width), height_(height),
      outWidth_(shrunk(width, std::max(width, height), longSide)),
      outHeight_(shrunk(height, std::max(width, height), longSide)), outColumn_(width) {
    for (std::uint32_t x = 0; x < width; ++x)
        outColumn_[x] = static_cast<std::uint32_t>(std::uint64_t{x} * outWidth_ / width);
    const std::size_t cells = std::size_t{outWidth_} * outHeight_;
    first_.resize(cells);
    second_.resize(kind == Kind::phase ? cells : 0);
    count_.resize(cells);
}

void ImageAverager::add(std::uint32_t x, std::uint32_t line,
                        std::span<const std::uint16_t> samples) {
    const std::size_t row = std::size_t{line} * outHeight_ / height_ * outWidth_;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const std::size_t cell = row + outColumn_[x + i];
        ++count_[cell];
        if (kind_ == Kind::magnitude) {
            first_[cell] += static_cast<double>(samples[i]) * samples[i];
        } else {
            const double angle =
                static_cast<std::int16_t>(samples[i]) * (std::numbers::pi / 32768);
            first_[cell] += std::cos(angle);
            second_[cell] += std::sin(angle);
        }
    }
}

std::vector<std::uint8_t> ImageAverager::grey() const {
    return kind_ == Kind::magnitude ? greyOfMagnitude() : greyOfPhase();
}

std::vector<std::uint8_t> ImageAverager::greyOfMagnitude() const {
    std::vector<float> amplitude(first_.size());
    std::vector<float> seen;
    for (std::size_t i = 0; i < first_.size(); ++i) {
        amplitude[i] = static_cast<float>(std::sqrt(first_[i] / std::max(1U, count_[i])));
        if (amplitude[i] > 0)
            seen.push_back(amplitude[i]);
    }
    std::vector<std::uint8_t> grey(first_.size());
    if (seen.empty())
        return grey;
    const auto percentile = [&seen](std::size_t percent) {
        const auto at = seen.begin() +
                        static_cast<std::ptrdiff_t>((seen.size() - 1) * percent / 100);
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
        const double turn = std::atan2(second_[i], first_[i]) / (2 * std::numbers::pi) + 0.5;
        if (count_[i] != 0)
            grey[i] = static_cast<std::uint8_t>(std::lround(255 * turn));
    }
    return grey;
}
