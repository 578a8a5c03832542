// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <complex>
#include <cstddef>
#include <cstdint>

/// The host's list of pixel types; the numbers are the contract. One pixel occupies whole bytes:
/// u1, u2 and u4 one byte each with the value in its low bits.
enum KpxmPixelType : std::uint32_t {
    kpxmU1 = 0,
    kpxmU2 = 1,
    kpxmU4 = 2,
    kpxmU8 = 3,
    kpxmS8 = 4,
    kpxmU16 = 5,
    kpxmS16 = 6,
    kpxmU32 = 7,
    kpxmS32 = 8,
    kpxmF32 = 9,
    kpxmF64 = 10,
    kpxmC64 = 11,  ///< two f32: real, imaginary
    kpxmC128 = 12, ///< two f64: real, imaginary
    kpxmPixelTypeCount = 13,
};

namespace kpxm {

/// @return bytes of one pixel; 0 for a number outside the list.
RF_PLATFORM_API std::size_t pixelSize(std::uint32_t pixelType);

/// Reads and writes one pixel of any type. Integers are rounded to nearest and clamped to their
/// range, NaN becomes 0; real types take the real part. `pixel` needs no alignment.
RF_PLATFORM_API std::complex<double> loadPixel(const void* pixel, std::uint32_t pixelType);
RF_PLATFORM_API void storePixel(void* pixel, std::uint32_t pixelType, std::complex<double> value);

} // namespace kpxm
