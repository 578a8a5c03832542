// SPDX-License-Identifier: MIT
#pragma once

#include "sarm/model.h"

#include <cstddef>

namespace sarm {

/// The solvers of Model (see there) over arrays of n points, in one kind of vector registers.
/// Points without a solution become NaN. @return the number of points with a solution.
struct ModelKernels {
    std::size_t (*groundToImage)(const ModelParameters& model, const GroundPosition* ground,
                                 ImagePosition* image, std::size_t n);
    std::size_t (*imageToGround)(const ModelParameters& model, const ImagePosition* image,
                                 GroundPosition* ground, std::size_t n);
    /// As groundToImage; also returns the points' earth-fixed positions, m.
    std::size_t (*groundToImageAndSpace)(const ModelParameters& model, const GroundPosition* ground,
                                         ImagePosition* image, Vec3* space, std::size_t n);
};

/// @return the kernels that this machine can run, widest registers first.
RF_PLATFORM_API std::span<const ModelKernels> usableModelKernels();

} // namespace sarm
