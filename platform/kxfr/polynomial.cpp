// SPDX-License-Identifier: MIT
#include "kxfr/part.h"

#include <cmath>
#include <limits>

namespace kxfr {
namespace {

/// Limit of |u| and |v|; the ties extend from -1 to 1.
constexpr double farthest = 3;

/// x and y with their derivatives by u and v.
struct Value {
    double x = 0, y = 0, xu = 0, xv = 0, yu = 0, yv = 0;
};

class Polynomial final : public Part {
public:
    explicit Polynomial(const PolynomialData& data)
        : data_(data), terms_(termsOfOrder[data.order]),
          limit_(data.order == 1 ? std::numeric_limits<double>::infinity() : farthest) {}

    std::string_view designName() const override { return "Polynomial"; }
    std::string_view to() const override { return "pixels"; }
    const void* data() const override { return &data_; }

    void towardsMap(std::span<KxfrMapPoint> points) const override {
        for (KxfrMapPoint& point : points) {
            const double u = (point.x - data_.centreSample) / data_.sampleScale;
            const double v = (point.y - data_.centreLine) / data_.lineScale;
            if (!inReach(u, v)) {
                point.x = point.y = std::numeric_limits<double>::quiet_NaN();
                continue;
            }
            const Value value = at(u, v);
            point.x = data_.centreX + data_.mapScale * value.x;
            point.y = data_.centreY + data_.mapScale * value.y;
        }
    }

    void towardsPixels(std::span<KxfrMapPoint> points) const override {
        for (KxfrMapPoint& point : points) {
            double u = 0, v = 0;
            const bool found = solve((point.x - data_.centreX) / data_.mapScale,
                                     (point.y - data_.centreY) / data_.mapScale, u, v);
            constexpr double none = std::numeric_limits<double>::quiet_NaN();
            point.x = found ? data_.centreSample + data_.sampleScale * u : none;
            point.y = found ? data_.centreLine + data_.lineScale * v : none;
        }
    }

private:
    bool inReach(double u, double v) const {
        return std::abs(u) <= limit_ && std::abs(v) <= limit_;
    }

    Value at(double u, double v) const {
        const double m[10] = {1,     u,         v,         u * u,     u * v,
                              v * v, u * u * u, u * u * v, u * v * v, v * v * v};
        const double mu[10] = {0, 1, 0, 2 * u, v, 0, 3 * u * u, 2 * u * v, v * v, 0};
        const double mv[10] = {0, 0, 1, 0, u, 2 * v, 0, u * u, 2 * u * v, 3 * v * v};
        Value value;
        for (int k = 0; k < terms_; ++k) {
            value.x += data_.x[k] * m[k];
            value.xu += data_.x[k] * mu[k];
            value.xv += data_.x[k] * mv[k];
            value.y += data_.y[k] * m[k];
            value.yu += data_.y[k] * mu[k];
            value.yv += data_.y[k] * mv[k];
        }
        return value;
    }

    /// Map to pixel: Newton's method, starting at the middle of the ties.
    bool solve(double x, double y, double& u, double& v) const {
        for (int step = 0; step < 30; ++step) {
            const Value value = at(u, v);
            const double determinant = value.xu * value.yv - value.xv * value.yu;
            const double dx = x - value.x, dy = y - value.y;
            const double du = (dx * value.yv - dy * value.xv) / determinant;
            const double dv = (dy * value.xu - dx * value.yu) / determinant;
            u += du;
            v += dv;
            if (!(std::abs(u) <= 10 * limit_ && std::abs(v) <= 10 * limit_))
                return false; // also when not a number
            if (std::abs(du) + std::abs(dv) < 1e-13 * (1 + std::abs(u) + std::abs(v)))
                return std::isfinite(u + v) && inReach(u, v);
        }
        return false;
    }

    PolynomialData data_;
    int terms_;
    double limit_;
};

} // namespace

PartPtr makePolynomial(const PolynomialData& data) {
    if (data.order < 1 || data.order > 3)
        throw std::runtime_error("its order is not 1, 2 or 3");
    requireFinite({{data.centreSample, data.centreLine, data.sampleScale, data.lineScale,
                    data.centreX, data.centreY, data.mapScale}});
    requireFinite(data.x);
    requireFinite(data.y);
    if (!(data.sampleScale > 0 && data.lineScale > 0 && data.mapScale > 0))
        throw std::runtime_error("a scale is not positive");
    return std::make_unique<Polynomial>(data);
}

KmifDesign* polynomialDesign(KERR_REPORT** slot) {
    return kmif_DesignCreate(nullptr, "Polynomial",
                             {{kmifInt32, "order"},
                              {kmifFloat64, "centreSample"},
                              {kmifFloat64, "centreLine"},
                              {kmifFloat64, "sampleScale"},
                              {kmifFloat64, "lineScale"},
                              {kmifFloat64, "centreX"},
                              {kmifFloat64, "centreY"},
                              {kmifFloat64, "mapScale"},
                              {kmifInline + kmifFloat64, "x", 10},
                              {kmifInline + kmifFloat64, "y", 10}},
                             slot);
}

} // namespace kxfr
