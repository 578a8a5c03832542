// SPDX-License-Identifier: MIT
#pragma once

#include "kpxm/pixel_type.h"
#include "rf_platform_api.h"

#include <complex>
#include <cstdint>

/// Pixel rectangles: small images in memory, line after line without gaps, on the host heap.
/// A rectangle is a value without shared state; one thread at a time writes it.

struct KPXM_RECT {
    void* pixels;
    std::uint32_t width, height; ///< pixels
    std::uint32_t pixelType;     ///< KpxmPixelType
};

/// @return a zero-filled rectangle owned by the caller; null when memory is short, the size
///         overflows or is 0, or the pixel type is not in the list.
RF_PLATFORM_API KPXM_RECT* kimg_PixelRectCreate(std::uint32_t width, std::uint32_t height,
                                                std::uint32_t pixelType);

/// Frees rectangle and pixels; null is allowed.
RF_PLATFORM_API void kpxm_PixelRectDelete(KPXM_RECT* rect);

/// @param rect  not null, here and below. @return the first pixel of the first line, owned by the
///        rectangle.
RF_PLATFORM_API void* kpxm_PixelRectDataGet(KPXM_RECT* rect);

/// Sets one pixel, converted as kpxm::storePixel does.
/// @return false when (x, y) lies outside; nothing is written then.
RF_PLATFORM_API bool kpxm_PixelRectPixelSet(KPXM_RECT* rect, std::uint32_t x, std::uint32_t y,
                                            std::complex<double> value);

/// @return one pixel; 0 when (x, y) lies outside.
RF_PLATFORM_API std::complex<double> kpxm_PixelRectPixelGet(const KPXM_RECT* rect, std::uint32_t x,
                                                            std::uint32_t y);
