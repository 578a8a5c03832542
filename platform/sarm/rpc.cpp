// SPDX-License-Identifier: MIT
#include "sarm/rpc.h"

#include <Eigen/Dense>

#include <algorithm>
#include <cmath>

namespace sarm {

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;

struct Sample {
    GroundPosition ground;
    ImagePosition image;
};

/// @return the longitude shifted by full turns to within 180 degrees of `nearDeg`.
double unwrapped(double lonDeg, double nearDeg) {
    return lonDeg - 360 * std::round((lonDeg - nearDeg) / 360);
}

/// Samples the model on a regular grid over image and heights, with `steps` intervals along line
/// and sample. Longitudes continue without a jump from the first sample.
std::optional<std::vector<Sample>> sampleModel(const SensorModel& model, double heightRangeM,
                                               int steps) {
    constexpr int heightSteps = 4;
    const ImageSize size = model.imageSize();
    std::vector<Sample> samples;
    for (int k = 0; k <= heightSteps; ++k)
        for (int j = 0; j <= steps; ++j)
            for (int i = 0; i <= steps; ++i) {
                const double height =
                    model.terrainHeightM() + heightRangeM * (2.0 * k / heightSteps - 1);
                const ImagePosition image{(size.samples - 1.0) * i / steps,
                                          (size.lines - 1.0) * j / steps};
                const auto ground = model.imageToGround(image, height);
                if (!ground)
                    return std::nullopt;
                samples.push_back({*ground, image});
                Sample& sample = samples.back();
                sample.ground.lonDeg =
                    unwrapped(sample.ground.lonDeg, samples.front().ground.lonDeg);
            }
    return samples;
}

struct Scaling {
    double offset, scale;
};

template <class Get>
Scaling scalingOf(const std::vector<Sample>& samples, Get get) {
    double low = get(samples.front()), high = low;
    for (const Sample& sample : samples) {
        low = std::min(low, get(sample));
        high = std::max(high, get(sample));
    }
    return {(low + high) / 2, std::max((high - low) / 2, 1e-9)};
}

using Terms = Eigen::Matrix<double, 20, 1>;

Terms termsOf(const Rpc& rpc, const GroundPosition& ground) {
    const double P = (ground.latDeg - rpc.latOffsetDeg) / rpc.latScaleDeg;
    const double L =
        (unwrapped(ground.lonDeg, rpc.lonOffsetDeg) - rpc.lonOffsetDeg) / rpc.lonScaleDeg;
    const double H = (ground.heightM - rpc.heightOffsetM) / rpc.heightScaleM;
    Terms terms;
    terms << 1, L, P, H, L * P, L * H, P * H, L * L, P * P, H * H, P * L * H, L * L * L, L * P * P,
        L * H * H, L * L * P, P * P * P, P * H * H, L * L * H, P * P * H, H * H * H;
    return terms;
}

/// Fits value = N / D by least squares, where D = 1 + D' (constant term 1). Multiplied by D, the
/// problem is linear in the 20 + 19 coefficients: N - value * D' = value. That error is D times too
/// large, so each round divides the rows by the D of the round before. Slight damping keeps terms
/// that the scene does not determine near zero.
void fitRatio(const MatrixXd& terms, const VectorXd& value, std::array<double, 20>& numerator,
              std::array<double, 20>& denominator) {
    constexpr double damping = 1e-9;
    constexpr int unknowns = 39;
    VectorXd weight = VectorXd::Ones(value.size());
    VectorXd solution;
    for (int round = 0; round < 3; ++round) {
        // Rows: the weighted equations [terms, -value * terms without the constant], then damping.
        MatrixXd design = MatrixXd::Zero(value.size() + unknowns, unknowns);
        design.topLeftCorner(value.size(), 20) = weight.asDiagonal() * terms;
        design.block(0, 20, value.size(), 19) =
            (-weight.cwiseProduct(value)).asDiagonal() * terms.rightCols(19);
        design.bottomRows(unknowns).diagonal().setConstant(
            damping * std::sqrt(static_cast<double>(value.size())));
        VectorXd right = VectorXd::Zero(value.size() + unknowns);
        right.head(value.size()) = weight.cwiseProduct(value);
        solution = design.householderQr().solve(right);
        const VectorXd ratio =
            VectorXd::Ones(value.size()) + terms.rightCols(19) * solution.tail(19);
        weight = ratio.cwiseAbs().cwiseMax(1e-3).cwiseInverse();
    }
    std::copy_n(solution.data(), 20, numerator.begin());
    denominator[0] = 1;
    std::copy_n(solution.data() + 20, 19, denominator.begin() + 1);
}

/// Sets offsets and scales so that every normalised coordinate of the samples is in -1..1.
void setScaling(Rpc& rpc, const std::vector<Sample>& samples) {
    const auto set = [&](double& offset, double& scale, auto get) {
        const Scaling scaling = scalingOf(samples, get);
        offset = scaling.offset;
        scale = scaling.scale;
    };
    set(rpc.lineOffset, rpc.lineScale, [](const Sample& s) { return s.image.line; });
    set(rpc.sampleOffset, rpc.sampleScale, [](const Sample& s) { return s.image.sample; });
    set(rpc.latOffsetDeg, rpc.latScaleDeg, [](const Sample& s) { return s.ground.latDeg; });
    set(rpc.lonOffsetDeg, rpc.lonScaleDeg, [](const Sample& s) { return s.ground.lonDeg; });
    set(rpc.heightOffsetM, rpc.heightScaleM, [](const Sample& s) { return s.ground.heightM; });
    rpc.lonOffsetDeg = unwrapped(rpc.lonOffsetDeg, 0);
}

double dotTerms(const std::array<double, 20>& coefficients, const Terms& terms) {
    return Eigen::Map<const Terms>(coefficients.data()).dot(terms);
}

} // namespace

ImagePosition rpcPosition(const Rpc& rpc, const GroundPosition& ground) {
    const Terms terms = termsOf(rpc, ground);
    return {rpc.sampleOffset + rpc.sampleScale * dotTerms(rpc.sampleNumerator, terms) /
                                   dotTerms(rpc.sampleDenominator, terms),
            rpc.lineOffset + rpc.lineScale * dotTerms(rpc.lineNumerator, terms) /
                                 dotTerms(rpc.lineDenominator, terms)};
}

namespace {

constexpr int fitSteps = 12;

/// Lengths of a line step and a sample step on the ground, in the middle of the image.
std::optional<std::array<double, 2>> spacingsM(const SensorModel& model) {
    const ImagePosition middle = model.centre();
    const double height = model.terrainHeightM();
    const auto at = model.imageToGround(middle, height);
    const auto down = model.imageToGround({middle.sample, middle.line + 1}, height);
    const auto across = model.imageToGround({middle.sample + 1, middle.line}, height);
    if (!at || !down || !across)
        return std::nullopt;
    const auto far = [&](const GroundPosition& other) {
        const Vec3 a = toEarthFixed(*at, Ellipsoid()), b = toEarthFixed(other, Ellipsoid());
        return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
    };
    return {{far(*down), far(*across)}};
}

} // namespace

bool measureRpc(Rpc& rpc, const SensorModel& model, double heightRangeM) {
    const auto checks = sampleModel(model, heightRangeM, 2 * fitSteps + 1);
    const auto spacings = spacingsM(model);
    if (!checks || !spacings)
        return false;
    rpc.maxLineError = rpc.maxSampleError = 0;
    double sums[2] = {}, squares = 0;
    for (const Sample& sample : *checks) {
        const ImagePosition found = rpcPosition(rpc, sample.ground);
        const double off[] = {found.line - sample.image.line, found.sample - sample.image.sample};
        rpc.maxLineError = std::max(rpc.maxLineError, std::abs(off[0]));
        rpc.maxSampleError = std::max(rpc.maxSampleError, std::abs(off[1]));
        if (std::isnan(off[0]) || std::isnan(off[1]))
            return false;
        for (std::size_t axis = 0; axis < 2; ++axis) {
            const double metres = off[axis] * (*spacings)[axis];
            sums[axis] += metres;
            squares += metres * metres;
        }
    }
    // Bias: squared length of the mean error. Random: mean square less bias. Each per axis.
    const auto count = static_cast<double>(checks->size());
    const double bias = (sums[0] * sums[0] + sums[1] * sums[1]) / (count * count);
    rpc.biasErrorM = std::sqrt(bias / 2);
    rpc.randomErrorM = std::sqrt(std::max(0.0, squares / count - bias) / 2);
    return true;
}

std::optional<Rpc> fitRpc(const SensorModel& model, double heightRangeM) {
    const auto samples = sampleModel(model, heightRangeM, fitSteps);
    if (!samples)
        return std::nullopt;
    Rpc rpc;
    setScaling(rpc, *samples);
    const auto count = static_cast<Eigen::Index>(samples->size());
    MatrixXd terms(count, 20);
    VectorXd lines(count), columns(count);
    for (Eigen::Index i = 0; i < count; ++i) {
        const Sample& sample = (*samples)[static_cast<std::size_t>(i)];
        terms.row(i) = termsOf(rpc, sample.ground).transpose();
        lines(i) = (sample.image.line - rpc.lineOffset) / rpc.lineScale;
        columns(i) = (sample.image.sample - rpc.sampleOffset) / rpc.sampleScale;
    }
    fitRatio(terms, lines, rpc.lineNumerator, rpc.lineDenominator);
    fitRatio(terms, columns, rpc.sampleNumerator, rpc.sampleDenominator);
    return measureRpc(rpc, model, heightRangeM) ? std::optional(rpc) : std::nullopt;
}

} // namespace sarm
