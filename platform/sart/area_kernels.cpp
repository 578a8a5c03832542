// SPDX-License-Identifier: MIT
#include "sart/area_kernels.h"

#include "sart/area_buffer.h"
#include "sart/whole_numbers.h"

// One text, compiled once for each kind of vector register, as sarm/model_kernels.cpp.

#if defined(__x86_64__) && !defined(__clang__)
#define RF_SAR_WIDE_REGISTERS
#endif

namespace sart {

namespace narrow {
#define RF_SAR_LANES 2
#include "sart/area_kernels.inc"
#undef RF_SAR_LANES
} // namespace narrow

#ifdef RF_SAR_WIDE_REGISTERS

#pragma GCC push_options
#pragma GCC target("avx2,fma")
namespace wide {
#define RF_SAR_LANES 4
#include "sart/area_kernels.inc"
#undef RF_SAR_LANES
} // namespace wide
#pragma GCC pop_options

#pragma GCC push_options
#pragma GCC target("avx512f,avx512dq,avx512vl,prefer-vector-width=512")
namespace widest {
#define RF_SAR_LANES 8
#include "sart/area_kernels.inc"
#undef RF_SAR_LANES
} // namespace widest
#pragma GCC pop_options

#endif

AddEdge quickestAddEdge() {
#ifdef RF_SAR_WIDE_REGISTERS
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vl"))
        return widest::addEdge;
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
        return wide::addEdge;
#endif
    return narrow::addEdge;
}

} // namespace sart
