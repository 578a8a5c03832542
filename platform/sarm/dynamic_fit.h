// SPDX-License-Identifier: MIT
#pragma once

#include "sarm/orbit.h"

#include <optional>
#include <span>

namespace sarm {

/// Fits the motion under gravity (six parameters) to the positions and velocities of all vectors,
/// least squares; with four vectors or more the two kinds are weighted by their own scatter.
/// @param vectors  one or more; one vector is returned as it is.
/// @return the state at the middle vector's time; nullopt when the fit does not converge.
std::optional<StateVector> fitMotion(std::span<const StateVector> vectors);

} // namespace sarm
