// SPDX-License-Identifier: MIT
#include "kpxm/kpxm.h"

#include "kmsc/kmsc.h"

#include <limits>

namespace {

void* pixelAt(const KPXM_RECT* rect, std::uint32_t x, std::uint32_t y) {
    if (x >= rect->width || y >= rect->height)
        return nullptr;
    const std::size_t index = std::size_t{rect->width} * y + x;
    return static_cast<std::byte*>(rect->pixels) + index * kpxm::pixelSize(rect->pixelType);
}

} // namespace

KPXM_RECT* kimg_PixelRectCreate(std::uint32_t width, std::uint32_t height,
                                std::uint32_t pixelType) {
    const std::size_t size = kpxm::pixelSize(pixelType);
    const auto pixels = static_cast<std::uint64_t>(width) * height; // 32 by 32 bits always fit
    if (size == 0 || pixels == 0 ||
        pixels > static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max()) / size)
        return nullptr;
    auto rect = kmsc::makeArray<KPXM_RECT>(1);
    auto buffer = rect ? kmsc::makeArray<std::byte>(pixels * size) : nullptr;
    if (!buffer)
        return nullptr;
    *rect = {buffer.release(), width, height, pixelType};
    return rect.release();
}

void kpxm_PixelRectDelete(KPXM_RECT* rect) {
    if (rect)
        kmsc_HeapFree(rect->pixels);
    kmsc_HeapFree(rect);
}

void* kpxm_PixelRectDataGet(KPXM_RECT* rect) {
    return rect->pixels;
}

bool kpxm_PixelRectPixelSet(KPXM_RECT* rect, std::uint32_t x, std::uint32_t y,
                            std::complex<double> value) {
    void* pixel = pixelAt(rect, x, y);
    if (pixel)
        kpxm::storePixel(pixel, rect->pixelType, value);
    return pixel != nullptr;
}

std::complex<double> kpxm_PixelRectPixelGet(const KPXM_RECT* rect, std::uint32_t x,
                                            std::uint32_t y) {
    const void* pixel = pixelAt(rect, x, y);
    return pixel ? kpxm::loadPixel(pixel, rect->pixelType) : 0.0;
}
