// SPDX-License-Identifier: MIT
#include "output/resampler.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>

namespace {

using Part = Resampler::Part;

/// A rectangle of the image in memory.
struct Source {
    double x, y; ///< its first sample
    std::size_t stride;
    const std::byte* samples;
};

template <class T>
struct Number {
    using Sum = double;
    static Sum load(T value) { return static_cast<Sum>(value); }
    static T store(Sum sum) {
        if constexpr (std::is_integral_v<T>) {
            constexpr double least = std::numeric_limits<T>::min();
            constexpr double most = std::numeric_limits<T>::max();
            return static_cast<T>(std::floor(std::clamp(sum, least, most) + 0.5));
        } else {
            return static_cast<T>(sum);
        }
    }
};
template <class T>
struct Number<std::complex<T>> {
    using Sum = std::complex<double>;
    static Sum load(std::complex<T> value) {
        return {static_cast<double>(value.real()), static_cast<double>(value.imag())};
    }
    static std::complex<T> store(Sum sum) {
        return {Number<T>::store(sum.real()), Number<T>::store(sum.imag())};
    }
};

double triangle(double distance) {
    return std::max(0.0, 1 - std::abs(distance));
}

/// Keys' cubic convolution with a = -1/2.
double cubic(double distance) {
    const double d = std::abs(distance);
    return d <= 1 ? (1.5 * d - 2.5) * d * d + 1 : d <= 2 ? ((-0.5 * d + 2.5) * d - 4) * d + 2 : 0;
}

template <class T>
struct Nearest {
    T operator()(const T* samples, const Source& source, double x, double y) const {
        const auto column = static_cast<std::size_t>(std::floor(x + 0.5)),
                   line = static_cast<std::size_t>(std::floor(y + 0.5));
        return samples[line * source.stride + column];
    }
};

template <class T>
struct Bilinear {
    T operator()(const T* samples, const Source& source, double x, double y) const {
        using N = Number<T>;
        const auto column = static_cast<std::size_t>(x), line = static_cast<std::size_t>(y);
        const double u = x - static_cast<double>(column), v = y - static_cast<double>(line);
        const T* above = samples + line * source.stride + column;
        const T* below = above + source.stride;
        const auto first = N::load(above[0]) * (1 - u) + N::load(above[1]) * u;
        const auto second = N::load(below[0]) * (1 - u) + N::load(below[1]) * u;
        return N::store(first * (1 - v) + second * v);
    }
};

/// Any filter, widened if the map is coarser than the image.
template <class T>
class Filtered {
public:
    Filtered(double (*filter)(double), double radius, double reduction)
        : filter_(filter), radius_(radius * reduction), reduction_(reduction) {}

    T operator()(const T* samples, const Source& source, double x, double y) {
        const std::size_t column = weigh(x, columns_), line = weigh(y, lines_);
        typename Number<T>::Sum sum{};
        for (std::size_t j = 0; j < lines_.size(); ++j) {
            const T* from = samples + (line + j) * source.stride + column;
            typename Number<T>::Sum along{};
            for (std::size_t i = 0; i < columns_.size(); ++i)
                along += Number<T>::load(from[i]) * columns_[i];
            sum += along * lines_[j];
        }
        return Number<T>::store(sum);
    }

private:
    /// @return the index of the first weight.
    std::size_t weigh(double at, std::vector<double>& weights) const {
        const auto first = static_cast<std::ptrdiff_t>(std::ceil(at - radius_));
        const auto last = static_cast<std::ptrdiff_t>(std::floor(at + radius_));
        weights.clear();
        double sum = 0;
        for (std::ptrdiff_t place = first; place <= last; ++place) {
            weights.push_back(filter_((static_cast<double>(place) - at) / reduction_));
            sum += weights.back();
        }
        for (double& weight : weights)
            weight /= sum;
        return static_cast<std::size_t>(first);
    }

    double (*filter_)(double);
    double radius_, reduction_;
    std::vector<double> columns_, lines_;
};

/// The map pixels that are inside the image.
struct Inside {
    double right, bottom;
    bool operator()(const KxfrPixel& pixel) const {
        return pixel.sample >= -0.5 && pixel.line >= -0.5 && pixel.sample <= right &&
               pixel.line <= bottom;
    }
};

template <class T, class Method>
void fill(const Part& part, const Source& source, const Inside& inside, T noData, Method method) {
    const auto* samples = reinterpret_cast<const T*>(source.samples);
    for (std::uint32_t row = 0; row < part.height; ++row) {
        const KxfrPixel* pixels = part.pixels + row * part.pixelStride;
        T* to = reinterpret_cast<T*>(part.samples) + row * part.sampleStride;
        for (std::uint32_t i = 0; i < part.width; ++i)
            to[i] = inside(pixels[i]) ? method(samples, source, pixels[i].sample - source.x,
                                               pixels[i].line - source.y)
                                      : noData;
    }
}

template <class T>
void fill(const Part& part, const Source& source, const Inside& inside, Resampling method,
          double reduction, double noData) {
    const T none = Number<T>::store(noData);
    if (method == Resampling::nearest)
        fill<T>(part, source, inside, none, Nearest<T>());
    else if (method == Resampling::cubic)
        fill<T>(part, source, inside, none, Filtered<T>(cubic, 2, reduction));
    else if (reduction > 1)
        fill<T>(part, source, inside, none, Filtered<T>(triangle, 1, reduction));
    else
        fill<T>(part, source, inside, none, Bilinear<T>());
}

} // namespace

void Resampler::draw(const Part& part, Scratch& scratch) const {
    const Inside inside{raster_.width() - 0.5, raster_.height() - 0.5};
    double left = inside.right, right = -1, top = inside.bottom, bottom = -1;
    for (std::uint32_t row = 0; row < part.height; ++row)
        for (std::uint32_t i = 0; i < part.width; ++i) {
            const KxfrPixel& pixel = part.pixels[row * part.pixelStride + i];
            if (!inside(pixel))
                continue;
            left = std::min(left, pixel.sample);
            right = std::max(right, pixel.sample);
            top = std::min(top, pixel.line);
            bottom = std::max(bottom, pixel.line);
        }
    Source source{0, 0, 0, nullptr};
    if (right >= left) {
        const double reach = std::ceil(2 * reduction_) + 1;
        const auto x = static_cast<std::int64_t>(std::floor(left) - reach);
        const auto y = static_cast<std::int64_t>(std::floor(top) - reach);
        const auto width = static_cast<std::uint32_t>(std::ceil(right) + reach - double(x) + 1);
        const auto height = static_cast<std::uint32_t>(std::ceil(bottom) + reach - double(y) + 1);
        const std::size_t bytes = std::size_t{width} * height * raster_.sampleBytes();
        if (bytes > room_ && part.width * part.height > 1) {
            Part first = part, second = part;
            const bool across = part.width >= part.height;
            std::uint32_t Part::*side = across ? &Part::width : &Part::height;
            first.*side = part.*side / 2;
            second.*side -= first.*side;
            second.pixels += first.*side * (across ? 1 : part.pixelStride);
            second.samples +=
                raster_.sampleBytes() * first.*side * (across ? 1 : part.sampleStride);
            draw(first, scratch);
            draw(second, scratch);
            return;
        }
        scratch.resize(std::max(scratch.size(), bytes));
        cache_.copy(x, y, width, height, scratch.data());
        source = {static_cast<double>(x), static_cast<double>(y), width, scratch.data()};
    }
    const auto filled = [&]<class T>(T) {
        fill<T>(part, source, inside, method_, reduction_, noData_);
    };
    switch (raster_.type()) {
    case kimg::SampleType::uint16:
        return filled(std::uint16_t{});
    case kimg::SampleType::int16:
        return filled(std::int16_t{});
    case kimg::SampleType::float32:
        return filled(float{});
    case kimg::SampleType::complexInt16:
        return filled(std::complex<std::int16_t>{});
    case kimg::SampleType::complexFloat32:
        return filled(std::complex<float>{});
    case kimg::SampleType::complexFloat64:
        return filled(std::complex<double>{});
    }
}
