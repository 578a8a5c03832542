// SPDX-License-Identifier: MIT
#pragma once

#include "sarm/orbit.h"

#include <optional>
#include <span>

namespace sarm {

/// Fits the motion under gravity (six parameters) to the positions and velocities of all vectors by
/// least squares. With four vectors or more, positions and velocities are weighted by their own
/// scatter.
/// @param vectors  one or more; a single vector is returned unchanged.
/// @return the state at the middle vector's time; nullopt when the fit does not converge.
std::optional<StateVector> fitMotion(std::span<const StateVector> vectors);

} // namespace sarm
