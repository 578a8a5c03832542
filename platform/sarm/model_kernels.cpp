// SPDX-License-Identifier: MIT
#include "sarm/model_kernels.h"

#include <algorithm>
#include <limits>

// model_kernels.inc is compiled once for each kind of vector register; the widest that the machine
// has is used. Each inclusion is inside a region with its own target, so that vector types are
// native there.

// Only GCC supports regions with a target; other compilers make the narrow kind only.
#if defined(__x86_64__) && !defined(__clang__)
#define RF_SAR_WIDE_REGISTERS
#endif

namespace sarm::narrow {
#define RF_SAR_LANES 2
#include "rf_constants.h"
#include "sarm/model_kernels.inc"
#undef RF_SAR_LANES
} // namespace sarm::narrow

#ifdef RF_SAR_WIDE_REGISTERS

#pragma GCC push_options
#pragma GCC target("avx2,fma")
namespace sarm::wide {
#define RF_SAR_LANES 4
#include "sarm/model_kernels.inc"
#undef RF_SAR_LANES
} // namespace sarm::wide
#pragma GCC pop_options

#pragma GCC push_options
#pragma GCC target("avx512f,avx512dq,avx512vl,prefer-vector-width=512")
namespace sarm::widest {
#define RF_SAR_LANES 8
#include "sarm/model_kernels.inc"
#undef RF_SAR_LANES
} // namespace sarm::widest
#pragma GCC pop_options

#endif

namespace sarm {

namespace {

constexpr ModelKernels kernels[] = {
#ifdef RF_SAR_WIDE_REGISTERS
    {widest::groundToImage, widest::imageToGround, widest::groundToImageAndSpace},
    {wide::groundToImage, wide::imageToGround, wide::groundToImageAndSpace},
#endif
    {narrow::groundToImage, narrow::imageToGround, narrow::groundToImageAndSpace},
};

std::size_t tooWide() {
#ifdef RF_SAR_WIDE_REGISTERS
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vl"))
        return 0;
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") ? 1 : 2;
#else
    return 0;
#endif
}

} // namespace

std::span<const ModelKernels> usableModelKernels() {
    static const std::span<const ModelKernels> usable = std::span(kernels).subspan(tooWide());
    return usable;
}

} // namespace sarm
