// SPDX-License-Identifier: MIT
#include "sarm/dynamic_fit.h"

#include <Eigen/Dense>

#include <algorithm>

namespace sarm {

namespace {

using Matrix6 = Eigen::Matrix<double, 6, 6>;
using Vector6 = Eigen::Matrix<double, 6, 1>;

Vector6 packed(const StateVector& s) {
    Vector6 v;
    v << s.position.x, s.position.y, s.position.z, s.velocity.x, s.velocity.y, s.velocity.z;
    return v;
}

StateVector unpacked(double timeS, const Vector6& v) {
    return {timeS, {v(0), v(1), v(2)}, {v(3), v(4), v(5)}};
}

/// Derivative of the state at `timeS` by the state at the epoch, by central differences.
Matrix6 transition(const StateVector& epoch, double timeS) {
    Matrix6 matrix;
    for (int k = 0; k < 6; ++k) {
        const double step = k < 3 ? 10.0 : 0.01; // m, m/s: far above rounding, linear to 1e-9
        Vector6 up = packed(epoch), down = up;
        up(k) += step;
        down(k) -= step;
        matrix.col(k) = (packed(propagate(unpacked(epoch.timeS, up), timeS)) -
                         packed(propagate(unpacked(epoch.timeS, down), timeS))) /
                        (2 * step);
    }
    return matrix;
}

struct Noise {
    double positionM, velocityMS;

    Vector6 weights() const {
        Vector6 w;
        w << Eigen::Vector3d::Constant(1 / positionM), Eigen::Vector3d::Constant(1 / velocityMS);
        return w;
    }
};

/// One Gauss-Newton step: solves the weighted normal equations for the change of the epoch state
/// and applies it. @return the length of the change in units of the noise.
double improve(StateVector& epoch, std::span<const StateVector> vectors, const Noise& noise) {
    Matrix6 normal = Matrix6::Zero();
    Vector6 right = Vector6::Zero();
    const Vector6 weights = noise.weights();
    for (const StateVector& v : vectors) {
        const Matrix6 design = weights.asDiagonal() * transition(epoch, v.timeS);
        const Vector6 residual =
            weights.cwiseProduct(packed(v) - packed(propagate(epoch, v.timeS)));
        normal += design.transpose() * design;
        right += design.transpose() * residual;
    }
    const Vector6 change = normal.ldlt().solve(right);
    epoch = unpacked(epoch.timeS, packed(epoch) + change);
    return change.cwiseProduct(weights).norm();
}

Noise scatter(const StateVector& epoch, std::span<const StateVector> vectors) {
    double position = 0, velocity = 0;
    for (const StateVector& v : vectors) {
        const Vector6 residual = packed(v) - packed(propagate(epoch, v.timeS));
        position += residual.head<3>().squaredNorm();
        velocity += residual.tail<3>().squaredNorm();
    }
    const double count = 3.0 * static_cast<double>(vectors.size());
    return {std::max(1e-3, std::sqrt(position / count)),
            std::max(1e-6, std::sqrt(velocity / count))};
}

bool converge(StateVector& epoch, std::span<const StateVector> vectors, const Noise& noise) {
    for (int round = 0; round < 10; ++round) {
        const double moved = improve(epoch, vectors, noise);
        if (!std::isfinite(moved))
            return false;
        if (moved < 1e-3)
            return true;
    }
    return false;
}

} // namespace

std::optional<StateVector> fitMotion(std::span<const StateVector> vectors) {
    StateVector epoch = vectors[vectors.size() / 2];
    if (vectors.size() == 1)
        return epoch;
    Noise noise{0.1, 1e-3};
    const int reweightings = vectors.size() < 4 ? 0 : 2;
    for (int i = 0; i <= reweightings; ++i) {
        if (!converge(epoch, vectors, noise))
            return std::nullopt;
        noise = scatter(epoch, vectors);
    }
    return epoch;
}

} // namespace sarm
