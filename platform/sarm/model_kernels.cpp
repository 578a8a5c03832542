#include "sarm/model_kernels.h"

#include <algorithm>
#include <limits>
#include <numbers>

// One text, compiled once for each kind of vector register; the widest that the machine has runs.
// The text is set inside a region of its own target so that its vector types are native there.

namespace sarm::narrow {
#define RF_SAR_LANES 2
#include "sarm/model_kernels.inc"
#undef RF_SAR_LANES
} // namespace sarm::narrow

#ifdef __x86_64__

#pragma GCC push_options
#pragma GCC target("arch=x86-64-v3")
namespace sarm::wide {
#define RF_SAR_LANES 4
#include "sarm/model_kernels.inc"
#undef RF_SAR_LANES
} // namespace sarm::wide
#pragma GCC pop_options

#pragma GCC push_options
#pragma GCC target("arch=x86-64-v4,prefer-vector-width=512")
namespace sarm::widest {
#define RF_SAR_LANES 8
#include "sarm/model_kernels.inc"
#undef RF_SAR_LANES
} // namespace sarm::widest
#pragma GCC pop_options

#endif

namespace sarm {

namespace {

ModelKernels kernelsOfThisMachine() {
#ifdef __x86_64__
    if (__builtin_cpu_supports("x86-64-v4"))
        return {widest::groundToImage, widest::imageToGround};
    if (__builtin_cpu_supports("x86-64-v3"))
        return {wide::groundToImage, wide::imageToGround};
#endif
    return {narrow::groundToImage, narrow::imageToGround};
}

} // namespace

const ModelKernels& modelKernels() {
    static const ModelKernels kernels = kernelsOfThisMachine();
    return kernels;
}

} // namespace sarm
