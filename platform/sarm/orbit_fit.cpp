// SPDX-License-Identifier: MIT
#include "sarm/orbit_fit.h"

#include "sarm/dynamic_fit.h"

#include <Eigen/Dense>

#include <algorithm>

namespace sarm {

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;

/// Weights of a joint fit: typical noise of positions and velocities in real products.
constexpr double usualPositionNoiseM = 0.1;
constexpr double usualVelocityNoiseMS = 1e-3;

constexpr double typicalSpeedMS = 7500;
constexpr double typicalRangeM = 9e5;

MatrixXd powers(const VectorXd& x, int degree) {
    MatrixXd matrix(x.size(), degree + 1);
    matrix.col(0).setOnes();
    for (int k = 1; k <= degree; ++k)
        matrix.col(k) = matrix.col(k - 1).cwiseProduct(x);
    return matrix;
}

/// Time derivatives of the powers, with x = (t - centre) / halfSpan: k x^(k-1) / halfSpan.
MatrixXd powerRates(const VectorXd& x, int degree, double halfSpanS) {
    MatrixXd matrix = MatrixXd::Zero(x.size(), degree + 1);
    const MatrixXd plain = powers(x, degree);
    for (int k = 1; k <= degree; ++k)
        matrix.col(k) = plain.col(k - 1) * (k / halfSpanS);
    return matrix;
}

MatrixXd rows(std::span<const StateVector> vectors, Vec3 StateVector::*part) {
    MatrixXd matrix(static_cast<Eigen::Index>(vectors.size()), 3);
    for (Eigen::Index i = 0; i < matrix.rows(); ++i) {
        const Vec3& v = vectors[static_cast<std::size_t>(i)].*part;
        matrix.row(i) << v.x, v.y, v.z;
    }
    return matrix;
}

void store(const MatrixXd& coefficients, double (&target)[3][maxOrbitDegree + 1]) {
    for (int axis = 0; axis < 3; ++axis)
        for (int k = 0; k < coefficients.rows(); ++k)
            target[axis][k] = coefficients(k, axis);
}

struct ScaledTimes {
    double centreS, halfSpanS;
    VectorXd x;
};

ScaledTimes scaledTimes(std::span<const StateVector> vectors) {
    const double first = vectors.front().timeS, last = vectors.back().timeS;
    ScaledTimes times{(first + last) / 2, (last - first) / 2,
                      VectorXd(static_cast<Eigen::Index>(vectors.size()))};
    for (Eigen::Index i = 0; i < times.x.size(); ++i)
        times.x(i) = (vectors[static_cast<std::size_t>(i)].timeS - times.centreS) / times.halfSpanS;
    return times;
}

OrbitPolynomials fitSeparately(std::span<const StateVector> vectors, int degree) {
    const ScaledTimes times = scaledTimes(vectors);
    OrbitPolynomials orbit{times.centreS, times.halfSpanS, degree, degree - 1, {}, {}};
    store(powers(times.x, degree).householderQr().solve(rows(vectors, &StateVector::position)),
          orbit.position);
    store(powers(times.x, degree - 1).householderQr().solve(rows(vectors, &StateVector::velocity)),
          orbit.velocity);
    return orbit;
}

OrbitPolynomials fitJointly(std::span<const StateVector> vectors, int degree) {
    const ScaledTimes times = scaledTimes(vectors);
    const Eigen::Index n = times.x.size();
    MatrixXd design(2 * n, degree + 1);
    design << powers(times.x, degree) / usualPositionNoiseM,
        powerRates(times.x, degree, times.halfSpanS) / usualVelocityNoiseMS;
    MatrixXd data(2 * n, 3);
    data << rows(vectors, &StateVector::position) / usualPositionNoiseM,
        rows(vectors, &StateVector::velocity) / usualVelocityNoiseMS;
    const MatrixXd position = design.householderQr().solve(data);
    MatrixXd velocity(degree, 3);
    for (int k = 0; k < degree; ++k)
        velocity.row(k) = position.row(k + 1) * ((k + 1) / times.halfSpanS);
    OrbitPolynomials orbit{times.centreS, times.halfSpanS, degree, degree - 1, {}, {}};
    store(position, orbit.position);
    store(velocity, orbit.velocity);
    return orbit;
}

void measure(OrbitFit& fit, std::span<const StateVector> vectors) {
    double position = 0, velocity = 0;
    for (const StateVector& v : vectors) {
        const StateVector fitted = stateAt(fit.orbit, v.timeS);
        const Vec3 dp = fitted.position - v.position, dv = fitted.velocity - v.velocity;
        position += dot(dp, dp);
        velocity += dot(dv, dv);
    }
    const double n = static_cast<double>(vectors.size());
    fit.positionRmsM = std::sqrt(position / n);
    fit.velocityRmsMS = std::sqrt(velocity / n);
}

/// Fits the motion under gravity, samples it from half an image before to half an image after the
/// image, and fits polynomials to the samples. So positions outside the image stay well defined.
std::optional<OrbitFit> fitDynamically(std::span<const StateVector> vectors,
                                       double imageDurationS) {
    const double first = -0.5 * imageDurationS, span = 2 * imageDurationS;
    const int degree = orbitDegree(span);
    if (degree > maxOrbitDegree)
        return std::nullopt;
    const std::optional<StateVector> state = fitMotion(vectors);
    if (!state)
        return std::nullopt;
    std::vector<StateVector> samples;
    const int intervals = 3 * degree;
    for (int i = 0; i <= intervals; ++i)
        samples.push_back(propagate(*state, first + span * i / intervals));
    OrbitFit fit{fitJointly(samples, degree), OrbitMethod::dynamic, 0, 0};
    measure(fit, vectors);
    return fit;
}

/// Vectors two hours away belong to another orbit; this check also protects the integration.
bool nearImage(std::span<const StateVector> vectors) {
    constexpr double farS = 7200;
    return vectors.front().timeS > -farS && vectors.back().timeS < farS;
}

bool leavesArc(std::span<const StateVector> vectors, double imageDurationS) {
    const double first = vectors.front().timeS, last = vectors.back().timeS;
    return std::max(first, imageDurationS - last) > 0.25 * (last - first);
}

/// The velocity error of the fit as an angle, times the range: does it exceed 1 m along the track?
bool velocitiesTooNoisy(const OrbitFit& fit, std::size_t n) {
    const double error = fit.velocityRmsMS / std::sqrt(static_cast<double>(n) - 1);
    return error / typicalSpeedMS * typicalRangeM > 1;
}

} // namespace

/// Bound of the error of the best polynomial of degree d for circular motion over an arc T, by
/// Chebyshev's remainder: 2 R (n T / 4)^(d+1) / (d+1)!, for orbit radius R and mean motion n.
int orbitDegree(double arcS) {
    constexpr double orbitRadiusM = 7e6, meanMotion = 1.06e-3; // rad/s
    int degree = 3;
    double error = 2 * orbitRadiusM;
    for (int k = 1; k <= degree + 1; ++k) {
        error *= meanMotion * arcS / 4 / k;
        if (k == degree + 1 && error >= 3e-5 && degree <= maxOrbitDegree)
            ++degree;
    }
    return degree;
}

std::optional<OrbitFit> fitOrbit(std::span<const StateVector> vectors, double imageDurationS) {
    if (vectors.empty() || !nearImage(vectors))
        return std::nullopt;
    if (vectors.size() == 1 || leavesArc(vectors, imageDurationS))
        return fitDynamically(vectors, imageDurationS);
    const int degree = orbitDegree(vectors.back().timeS - vectors.front().timeS);
    if (degree > maxOrbitDegree)
        return std::nullopt;
    const int n = static_cast<int>(vectors.size());
    OrbitFit fit;
    if (n > degree)
        fit = {fitSeparately(vectors, degree), OrbitMethod::separate, 0, 0};
    else
        fit = {fitJointly(vectors, std::min(degree, 2 * n - 1)), OrbitMethod::joint, 0, 0};
    measure(fit, vectors);
    if (velocitiesTooNoisy(fit, vectors.size()))
        return fitDynamically(vectors, imageDurationS);
    return fit;
}

std::vector<StateVector> selfTimed(std::span<const StateVector> vectors) {
    std::vector<StateVector> timed(vectors.begin(), vectors.end());
    for (std::size_t i = 1; i < timed.size(); ++i) {
        const StateVector& a = vectors[i - 1];
        const StateVector& b = vectors[i];
        const Vec3 meanVelocity = 0.5 * (a.velocity + b.velocity);
        const Vec3 change =
            accelerationAt(b.position, b.velocity) - accelerationAt(a.position, a.velocity);
        // Trapezoid rule with its error term: b - a = h meanVelocity - h^2/12 change. The term
        // needs h itself, hence two rounds.
        double interval = b.timeS - a.timeS;
        for (int round = 0; round < 2; ++round)
            interval =
                dot(b.position - a.position + (interval * interval / 12) * change, meanVelocity) /
                dot(meanVelocity, meanVelocity);
        timed[i].timeS = timed[i - 1].timeS + interval;
    }
    return timed;
}

} // namespace sarm
