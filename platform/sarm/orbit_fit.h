// SPDX-License-Identifier: MIT
#pragma once

#include "sarm/orbit.h"

#include <optional>
#include <span>
#include <vector>

/// Fits a smooth orbit to noisy state vectors. It does not interpolate: an interpolator reproduces
/// their noise and differentiates it.
namespace sarm {

enum class OrbitMethod : int {
    separate = 1, ///< one polynomial for positions, one for velocities
    joint = 2,    ///< one polynomial for both, for few vectors
    dynamic = 3,  ///< motion under gravity, converted to polynomials
};

struct OrbitFit {
    OrbitPolynomials orbit;
    OrbitMethod method = OrbitMethod::separate;
    double positionRmsM = 0; ///< of the lengths of the residual vectors
    double velocityRmsMS = 0;
};

/// @return the lowest degree (3 or more) whose truncation error over an arc of this length stays
///         below 0.03 mm; for velocities, below the error that moves a point at 900 km by 1 cm
///         along the track. Above maxOrbitDegree the arc is too long for one polynomial.
RF_PLATFORM_API int orbitDegree(double arcS);

/// Fits the orbit of an image.
/// * `separate` as a rule: degree d = orbitDegree for the positions, d - 1 for the velocities.
/// * `joint` when there are d vectors or fewer: degree at most 2n - 1.
/// * `dynamic` when the scatter of the velocities would move a point at 900 km by more than 1 m
///   along the track, when there is one vector only, or when the image leaves the arc of the
///   vectors by more than a quarter of its length.
/// @param vectors  ascending times, s from the start of the image.
/// @return nullopt when the arc is too long, when vectors are two hours or more away from the
///         image, or when a dynamic fit does not converge.
/// Accuracy: within 1 mm of noise-free vectors, for arcs up to 480 s and 5 vectors or more.
RF_PLATFORM_API std::optional<OrbitFit> fitOrbit(std::span<const StateVector> vectors,
                                                 double imageDurationS);

/// Returns the vectors with new times, for records that state one interval although the vectors are
/// unevenly spaced. The first time stays. Each further interval is the distance along the track
/// between two neighbours divided by their mean speed.
/// Accuracy: 0.1 ms over the arc.
RF_PLATFORM_API std::vector<StateVector> selfTimed(std::span<const StateVector> vectors);

} // namespace sarm
