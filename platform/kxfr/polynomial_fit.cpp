// SPDX-License-Identifier: MIT
#include "kxfr/part.h"

#include <Eigen/QR>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace kxfr {
namespace {

using Eigen::MatrixXd;

struct Fit {
    MatrixXd coefficients;      ///< terms by 2
    double predictionError = 0; ///< sum of squares of each tie's distance when left out
};

MatrixXd monomials(const Eigen::ArrayXd& u, const Eigen::ArrayXd& v, int order) {
    MatrixXd m(u.size(), termsOfOrder[order]);
    int column = 0;
    for (int degree = 0; degree <= order; ++degree)
        for (int power = 0; power <= degree; ++power)
            m.col(column++) = u.pow(degree - power) * v.pow(power);
    return m;
}

/// @return nullopt when the ties do not determine the polynomial.
std::optional<Fit> fitOrder(const MatrixXd& m, const MatrixXd& targets) {
    if (m.rows() < m.cols())
        return std::nullopt;
    const Eigen::ColPivHouseholderQR<MatrixXd> qr(m);
    if (qr.rank() < m.cols())
        return std::nullopt;
    Fit fit{qr.solve(targets), 0};
    const MatrixXd q = qr.householderQ() * MatrixXd::Identity(m.rows(), m.cols());
    const MatrixXd residual = targets - m * fit.coefficients;
    for (Eigen::Index i = 0; i < m.rows(); ++i) {
        // If the others do not determine the polynomial, they cannot predict this tie.
        const double freedom = 1 - q.row(i).squaredNorm();
        if (freedom > 1e-9)
            fit.predictionError += (residual.row(i) / freedom).squaredNorm();
        else
            fit.predictionError = std::numeric_limits<double>::infinity();
    }
    return fit;
}

struct Range {
    double centre = 0, half = 0;
};

Range rangeOf(const Eigen::ArrayXd& values) {
    return {(values.minCoeff() + values.maxCoeff()) / 2,
            (values.maxCoeff() - values.minCoeff()) / 2};
}

} // namespace

PolynomialData fitPolynomial(std::span<const KxfrTie> ties) {
    const auto count = static_cast<Eigen::Index>(ties.size());
    Eigen::ArrayXd columns[4]; // sample, line, x, y
    for (auto& column : columns)
        column.resize(count);
    for (Eigen::Index i = 0; i < count; ++i) {
        const KxfrTie& tie = ties[static_cast<std::size_t>(i)];
        const double values[] = {tie.pixel.sample, tie.pixel.line, tie.x, tie.y};
        requireFinite(values);
        for (int k = 0; k < 4; ++k)
            columns[k][i] = values[k];
    }
    Range range[4];
    for (int k = 0; k < 4 && count > 0; ++k)
        range[k] = rangeOf(columns[k]);
    const double mapScale = std::max(range[2].half, range[3].half);
    if (!(range[0].half > 0 && range[1].half > 0 && mapScale > 0))
        throw std::runtime_error("the tie points do not spread over an area");

    MatrixXd targets(count, 2);
    targets << (columns[2] - range[2].centre) / mapScale, (columns[3] - range[3].centre) / mapScale;
    const Eigen::ArrayXd u = (columns[0] - range[0].centre) / range[0].half;
    const Eigen::ArrayXd v = (columns[1] - range[1].centre) / range[1].half;
    PolynomialData data{0,
                        range[0].centre,
                        range[1].centre,
                        range[0].half,
                        range[1].half,
                        range[2].centre,
                        range[3].centre,
                        mapScale,
                        {},
                        {}};
    std::optional<Fit> best;
    for (int order = 1; order <= 3; ++order) {
        std::optional<Fit> fit = fitOrder(monomials(u, v, order), targets);
        // A higher order must be clearly better, because noise alone makes it slightly better.
        if (!fit || (best && !(fit->predictionError < best->predictionError / 2)))
            continue;
        best = std::move(fit);
        data.order = order;
    }
    if (!best)
        throw std::runtime_error("the tie points do not spread over an area");
    for (int k = 0; k < termsOfOrder[data.order]; ++k) {
        data.x[k] = best->coefficients(k, 0);
        data.y[k] = best->coefficients(k, 1);
    }
    return data;
}

} // namespace kxfr
