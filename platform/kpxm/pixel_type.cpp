// SPDX-License-Identifier: MIT
#include "kpxm/pixel_type.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace kpxm {
namespace {

template <class T>
T load(const void* pixel) {
    T value;
    std::memcpy(&value, pixel, sizeof value);
    return value;
}

template <class T>
void store(void* pixel, T value) {
    std::memcpy(pixel, &value, sizeof value);
}

// For types of less than a byte, max is below the limit of the C++ type.
template <class T>
void storeInteger(void* pixel, double value, T max = std::numeric_limits<T>::max()) {
    const double low = std::numeric_limits<T>::lowest();
    const double rounded = std::isnan(value) ? 0.0 : std::round(value);
    store(pixel, static_cast<T>(std::clamp(rounded, low, static_cast<double>(max))));
}

} // namespace

std::size_t pixelSize(std::uint32_t pixelType) {
    constexpr std::size_t sizes[kpxmPixelTypeCount] = {1, 1, 1, 1, 1, 2, 2, 4, 4, 4, 8, 8, 16};
    return pixelType < kpxmPixelTypeCount ? sizes[pixelType] : 0;
}

std::complex<double> loadPixel(const void* pixel, std::uint32_t pixelType) {
    switch (pixelType) {
    case kpxmU1:
    case kpxmU2:
    case kpxmU4:
    case kpxmU8:
        return load<std::uint8_t>(pixel);
    case kpxmS8:
        return load<std::int8_t>(pixel);
    case kpxmU16:
        return load<std::uint16_t>(pixel);
    case kpxmS16:
        return load<std::int16_t>(pixel);
    case kpxmU32:
        return load<std::uint32_t>(pixel);
    case kpxmS32:
        return load<std::int32_t>(pixel);
    case kpxmF32:
        return load<float>(pixel);
    case kpxmF64:
        return load<double>(pixel);
    case kpxmC64:
        return load<std::complex<float>>(pixel);
    case kpxmC128:
        return load<std::complex<double>>(pixel);
    default:
        return 0.0;
    }
}

void storePixel(void* pixel, std::uint32_t pixelType, std::complex<double> value) {
    const double real = value.real();
    switch (pixelType) {
    case kpxmU1:
        storeInteger<std::uint8_t>(pixel, real, 1);
        break;
    case kpxmU2:
        storeInteger<std::uint8_t>(pixel, real, 3);
        break;
    case kpxmU4:
        storeInteger<std::uint8_t>(pixel, real, 15);
        break;
    case kpxmU8:
        storeInteger<std::uint8_t>(pixel, real);
        break;
    case kpxmS8:
        storeInteger<std::int8_t>(pixel, real);
        break;
    case kpxmU16:
        storeInteger<std::uint16_t>(pixel, real);
        break;
    case kpxmS16:
        storeInteger<std::int16_t>(pixel, real);
        break;
    case kpxmU32:
        storeInteger<std::uint32_t>(pixel, real);
        break;
    case kpxmS32:
        storeInteger<std::int32_t>(pixel, real);
        break;
    case kpxmF32:
        store(pixel, static_cast<float>(real));
        break;
    case kpxmF64:
        store(pixel, real);
        break;
    case kpxmC64:
        store(pixel, std::complex<float>(value));
        break;
    case kpxmC128:
        store(pixel, value);
        break;
    default:
        break;
    }
}

} // namespace kpxm
