// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"
#include "sarm/vec3.h"

/// The orbit as polynomials of time. Times in seconds from the start of the image (docs/
/// coordinates.md); earth-fixed frame, m and m/s. Values, any thread.
namespace sarm {

struct StateVector {
    double timeS = 0;
    Vec3 position, velocity;
};

constexpr int maxOrbitDegree = 10;

/// Position and velocity as polynomials of x = (t - centreTimeS) / halfSpanS, constant term first:
/// position[axis][power], unused powers 0. Position and velocity are fitted separately, so velocity
/// need not be the exact derivative of position.
struct OrbitPolynomials {
    double centreTimeS = 0;
    double halfSpanS = 1;
    int positionDegree = 0;
    int velocityDegree = 0;
    double position[3][maxOrbitDegree + 1] = {};
    double velocity[3][maxOrbitDegree + 1] = {};
};

/// @param timeS  on the time scale of centreTimeS. Outside the half span the polynomials
///        extrapolate.
/// @return the state at that time, m and m/s, in the frame of the fitted vectors.
RF_PLATFORM_API StateVector stateAt(const OrbitPolynomials& orbit, double timeS);

/// Motion under gravity alone: earth's mass and J2 to J4, in the rotating frame (Runge-Kutta of the
/// fourth order, steps of at most 5 s). Works for any span, forward or backward in time.
/// Accuracy: 1 mm over 10 minutes against the same forces.
/// Source: D. A. Vallado, Fundamentals of Astrodynamics and Applications, ch. 8; WGS 84 constants.
RF_PLATFORM_API StateVector propagate(const StateVector& from, double toTimeS);

/// @return acceleration in the rotating frame, m/s2: gravity, Coriolis and centrifugal.
RF_PLATFORM_API Vec3 accelerationAt(const Vec3& position, const Vec3& velocity);

} // namespace sarm
