// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace kimg {

/// Sample types of the files that this library writes.
enum class SampleType { uint16, int16, float32, complexInt16, complexFloat32, complexFloat64 };

constexpr std::size_t sampleBytes(SampleType type) {
    switch (type) {
    case SampleType::uint16:
    case SampleType::int16:
        return 2;
    case SampleType::float32:
    case SampleType::complexInt16:
        return 4;
    case SampleType::complexFloat32:
        return 8;
    case SampleType::complexFloat64:
        break;
    }
    return 16;
}

constexpr bool isComplex(SampleType type) {
    return type >= SampleType::complexInt16;
}

} // namespace kimg
