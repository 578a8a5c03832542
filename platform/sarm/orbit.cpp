// SPDX-License-Identifier: MIT
#include "sarm/orbit.h"

#include "rf_constants.h"

namespace sarm {

namespace {

constexpr double earthMassGm = 3.986004418e14; // m3/s2
constexpr double earthRate = 7.292115e-5;      // rad/s
constexpr double earthRadiusM = constants::wgs84SemiMajorAxisM;
constexpr double j2 = 1.08262668e-3, j3 = -2.53265649e-6, j4 = -1.61962159e-6;

double polynomialAt(const double (&coefficients)[maxOrbitDegree + 1], int degree, double x) {
    double value = coefficients[degree];
    for (int power = degree - 1; power >= 0; --power)
        value = value * x + coefficients[power];
    return value;
}

/// Gradient of the earth's potential with the zonal terms J2 to J4; u is the sine of the geocentric
/// latitude, q = earth radius / r.
Vec3 gravity(const Vec3& p) {
    const double r2 = dot(p, p);
    const double r = std::sqrt(r2);
    const double u = p.z / r, u2 = u * u;
    const double q = earthRadiusM / r, q2 = q * q;
    const double c2 = 1.5 * j2 * q2, c3 = 2.5 * j3 * q2 * q, c4 = 0.625 * j4 * q2 * q2;
    // Factors of x and y (`level`) and of z (`axial`); J3 adds a further term to z.
    const double level =
        1 + c2 * (1 - 5 * u2) + c3 * (3 - 7 * u2) * u - c4 * (3 - 42 * u2 + 63 * u2 * u2);
    const double axial =
        1 + c2 * (3 - 5 * u2) + c3 * (6 - 7 * u2) * u - c4 * (15 - 70 * u2 + 63 * u2 * u2);
    const double scale = -earthMassGm / (r2 * r);
    return {scale * p.x * level, scale * p.y * level, scale * (p.z * axial - 0.6 * c3 * r)};
}

StateVector moved(const StateVector& from, double stepS, const Vec3& velocity,
                  const Vec3& acceleration) {
    return {from.timeS + stepS, from.position + stepS * velocity,
            from.velocity + stepS * acceleration};
}

/// One classical Runge-Kutta step of length h, s.
StateVector rungeKuttaStep(const StateVector& s, double h) {
    const Vec3 a1 = accelerationAt(s.position, s.velocity);
    const StateVector s2 = moved(s, h / 2, s.velocity, a1);
    const Vec3 a2 = accelerationAt(s2.position, s2.velocity);
    const StateVector s3 = moved(s, h / 2, s2.velocity, a2);
    const Vec3 a3 = accelerationAt(s3.position, s3.velocity);
    const StateVector s4 = moved(s, h, s3.velocity, a3);
    const Vec3 a4 = accelerationAt(s4.position, s4.velocity);
    return moved(s, h, (1.0 / 6) * (s.velocity + 2 * (s2.velocity + s3.velocity) + s4.velocity),
                 (1.0 / 6) * (a1 + 2 * (a2 + a3) + a4));
}

} // namespace

StateVector stateAt(const OrbitPolynomials& orbit, double timeS) {
    const double x = (timeS - orbit.centreTimeS) / orbit.halfSpanS;
    const auto at = [x](const auto& rows, int degree) {
        return Vec3{polynomialAt(rows[0], degree, x), polynomialAt(rows[1], degree, x),
                    polynomialAt(rows[2], degree, x)};
    };
    return {timeS, at(orbit.position, orbit.positionDegree),
            at(orbit.velocity, orbit.velocityDegree)};
}

Vec3 accelerationAt(const Vec3& position, const Vec3& velocity) {
    const Vec3 rate{0, 0, earthRate};
    return gravity(position) - 2 * cross(rate, velocity) - cross(rate, cross(rate, position));
}

StateVector propagate(const StateVector& from, double toTimeS) {
    const double span = toTimeS - from.timeS;
    const int steps = static_cast<int>(std::ceil(std::abs(span) / 5.0));
    StateVector state = from;
    for (int i = 0; i < steps; ++i)
        state = rungeKuttaStep(state, span / steps);
    state.timeS = toTimeS;
    return state;
}

} // namespace sarm
