// SPDX-License-Identifier: MIT
#pragma once

#include "sarm/orbit.h"

#include <optional>
#include <span>
#include <vector>

/// From noisy state vectors to a smooth orbit. Vectors are fitted, never interpolated: an
/// interpolator reproduces their noise and differentiates it.
namespace sarm {

enum class OrbitMethod : int {
    separate = 1, ///< position and velocity polynomials, each fitted to its own data
    joint = 2,    ///< one polynomial through both, where the vectors are too few for `separate`
    dynamic = 3,  ///< motion under gravity, then expressed as polynomials
};

struct OrbitFit {
    OrbitPolynomials orbit;
    OrbitMethod method = OrbitMethod::separate;
    double positionRmsM = 0; ///< residual per vector, length of the difference
    double velocityRmsMS = 0;
};

/// @return the lowest degree (3 or more) whose truncation error over an arc of this length stays
///         below 0.03 mm (and of the velocities below what moves a point at 900 km by
///         1 cm along the track); above maxOrbitDegree the arc is too long for one polynomial.
RF_PLATFORM_API int orbitDegree(double arcS);

/// Fits the orbit of an image.
/// * `separate` as a rule: degree d = orbitDegree for the positions, d - 1 for the velocities.
/// * `joint` when there are d vectors or fewer: degree at most 2n - 1.
/// * `dynamic` when the scatter of the velocities would move a point at 900 km by more than 1 m
///   along the track, when there is one vector only, or when the image leaves the arc of the
///   vectors by more than a quarter of its length.
/// @param vectors  ascending times, s from the start of the image.
/// @return nullopt when the arc is too long, when vectors lie two hours or more from the image, or
///         when a dynamic fit does not converge.
/// Accuracy: within 1 mm of noise-free vectors of arcs up to 480 s, for 5 vectors or more.
RF_PLATFORM_API std::optional<OrbitFit> fitOrbit(std::span<const StateVector> vectors,
                                                 double imageDurationS);

/// The same vectors, first time kept, the others timed from the motion itself: the way between
/// two neighbours along the track, divided by their mean speed. For records that keep one
/// interval although the vectors were taken unevenly. Accuracy 0.1 ms over the arc.
RF_PLATFORM_API std::vector<StateVector> selfTimed(std::span<const StateVector> vectors);

} // namespace sarm
