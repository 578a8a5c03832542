// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

namespace kimg {

/// A run of pixels as a band stores them. Types are GDALDataType.
struct StoredPixels {
    const void* first;
    int type;
    bool signedByte; ///< bytes are signed, whatever the type says
    int stride;      ///< bytes; 0 repeats the first pixel
};

/// The form of pixels in the caller's buffer.
struct TargetType {
    std::uint32_t pixelType;
    int type;   ///< GDALDataType, unknown for types that GDAL lacks
    int stride; ///< bytes
};

/// @param packed  u32 means the packed word of a complex 16-bit integer.
TargetType targetType(std::uint32_t pixelType, int stride, bool packed);

/// Converts `count` pixels: see kimg_LayerRead.
void copyPixels(const StoredPixels& from, void* to, const TargetType& target, std::size_t count);

} // namespace kimg
