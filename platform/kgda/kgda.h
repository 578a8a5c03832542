// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "rf_platform_api.h"

#include <cstddef>
#include <cstdint>

/// Host data: a view of pixels that the view does not own. A view is a value; a view filled by
/// hand, without kgda_BaseDataCreate, may have any strides.
struct KGDA_DATA {
    void* buffer; ///< the first pixel of the first line
    std::uint32_t lines;
    std::uint32_t columns;      ///< pixels of a line
    std::uint32_t pixelType;    ///< KpxmPixelType
    std::ptrdiff_t lineStride;  ///< bytes from a line to the next
    std::ptrdiff_t pixelStride; ///< bytes from a pixel to the next
};

/// How kgda_BaseDataCreate lays pixels out.
enum KgdaLayout : std::uint32_t {
    kgdaLineMajorPacked = 3, ///< line after line, pixel after pixel, no gaps
};

/// Wraps the caller's buffer of lines * columns pixels; the buffer stays the caller's.
/// @param layout  kgdaLineMajorPacked, the only one there is.
/// @return a view owned by the caller, freed with kgda_BaseDataDelete; null with a report in the
///         slot when an argument is not acceptable or memory is short.
RF_PLATFORM_API KGDA_DATA* kgda_BaseDataCreate(std::uint32_t lines, std::uint32_t columns,
                                               std::uint32_t pixelType, std::uint32_t layout,
                                               void* buffer, KERR_REPORT** slot);

/// Frees the view, not the buffer; null is allowed.
RF_PLATFORM_API void kgda_BaseDataDelete(KGDA_DATA* data);
