// SPDX-License-Identifier: MIT
#include "kimg/pixel_copy.h"

#include "kpxm/pixel_type.h"

#include <gdal.h>

#include <algorithm>
#include <array>

namespace kimg {
namespace {

void copyWords(const StoredPixels& from, void* to, int type, int stride, std::size_t count) {
    GDALCopyWords64(from.first, static_cast<GDALDataType>(from.type), from.stride, to,
                    static_cast<GDALDataType>(type), stride, static_cast<GPtrDiff_t>(count));
}

void loadSignedBytes(const StoredPixels& from, double* values, std::size_t count) {
    const auto* byte = static_cast<const std::int8_t*>(from.first);
    for (std::size_t i = 0; i < count; ++i)
        values[i] = byte[static_cast<std::ptrdiff_t>(i) * from.stride];
}

} // namespace

TargetType targetType(std::uint32_t pixelType, int stride, bool packed) {
    constexpr std::array<GDALDataType, kpxmPixelTypeCount> types = {
        GDT_Unknown, GDT_Unknown, GDT_Unknown, GDT_Byte,    GDT_Unknown,  GDT_UInt16,  GDT_Int16,
        GDT_UInt32,  GDT_Int32,   GDT_Float32, GDT_Float64, GDT_CFloat32, GDT_CFloat64};
    const bool word = packed && pixelType == kpxmU32;
    return {pixelType, word ? GDT_CInt16 : types[pixelType], stride};
}

void copyPixels(const StoredPixels& from, void* to, const TargetType& target, std::size_t count) {
    if (!from.signedByte && target.type != GDT_Unknown) {
        copyWords(from, to, target.type, target.stride, count);
        return;
    }
    // Types that GDAL lacks are converted through doubles, which hold all their values.
    std::array<double, 256> values;
    StoredPixels source = from;
    auto* destination = static_cast<std::byte*>(to);
    while (count != 0) {
        const std::size_t n = std::min(count, values.size());
        if (from.signedByte)
            loadSignedBytes(source, values.data(), n);
        else
            copyWords(source, values.data(), GDT_Float64, sizeof(double), n);
        for (std::size_t i = 0; i < n; ++i, destination += target.stride)
            kpxm::storePixel(destination, target.pixelType, values[i]);
        source.first = static_cast<const std::byte*>(source.first) +
                       static_cast<std::ptrdiff_t>(n) * from.stride;
        count -= n;
    }
}

} // namespace kimg
