// SPDX-License-Identifier: MIT
#include "kxfr/part.h"

#include <cmath>
#include <limits>

namespace kxfr {

void requireFinite(std::span<const double> numbers) {
    for (const double number : numbers)
        if (!std::isfinite(number))
            throw std::runtime_error("a number is not finite");
}

namespace {

class LongitudeTurn final : public Part {
public:
    explicit LongitudeTurn(const LongitudeTurnData& data) : data_(data) {}

    std::string_view designName() const override { return "LongitudeTurn"; }
    std::string_view to() const override { return "map"; }
    const void* data() const override { return &data_; }

    void towardsPixels(std::span<KxfrMapPoint> points) const override {
        for (KxfrMapPoint& point : points)
            point.x = data_.centreLongitude + std::remainder(point.x - data_.centreLongitude, 360);
    }
    void towardsMap(std::span<KxfrMapPoint> points) const override {
        for (KxfrMapPoint& point : points)
            if (std::abs(point.x) > 180)
                point.x = std::remainder(point.x, 360);
    }

private:
    LongitudeTurnData data_;
};

class Affine final : public Part {
public:
    explicit Affine(const AffineData& data)
        : data_(data), determinant_(data.x[1] * data.y[2] - data.x[2] * data.y[1]) {}

    std::string_view designName() const override { return "Affine"; }
    std::string_view to() const override { return "pixels"; }
    const void* data() const override { return &data_; }

    void towardsPixels(std::span<KxfrMapPoint> points) const override {
        for (KxfrMapPoint& point : points) {
            const double dx = point.x - data_.x[0], dy = point.y - data_.y[0];
            point.x = (dx * data_.y[2] - dy * data_.x[2]) / determinant_;
            point.y = (dy * data_.x[1] - dx * data_.y[1]) / determinant_;
        }
    }
    void towardsMap(std::span<KxfrMapPoint> points) const override {
        for (KxfrMapPoint& point : points) {
            const double sample = point.x, line = point.y;
            point.x = data_.x[0] + data_.x[1] * sample + data_.x[2] * line;
            point.y = data_.y[0] + data_.y[1] * sample + data_.y[2] * line;
        }
    }

private:
    AffineData data_;
    double determinant_;
};

} // namespace

PartPtr makeLongitudeTurn(const LongitudeTurnData& data) {
    requireFinite({&data.centreLongitude, 1});
    return std::make_unique<LongitudeTurn>(data);
}

PartPtr makeAffine(const AffineData& data) {
    requireFinite(data.x);
    requireFinite(data.y);
    const double along = std::hypot(data.x[1], data.y[1]),
                 across = std::hypot(data.x[2], data.y[2]);
    const double area = std::abs(data.x[1] * data.y[2] - data.x[2] * data.y[1]);
    if (!(area > 1e-9 * along * across))
        throw std::runtime_error("its pixels do not spread over an area");
    return std::make_unique<Affine>(data);
}

KmifDesign* longitudeTurnDesign(KERR_REPORT** slot) {
    return kmif_DesignCreate(nullptr, "LongitudeTurn", {{kmifFloat64, "centreLongitude"}}, slot);
}

KmifDesign* affineDesign(KERR_REPORT** slot) {
    return kmif_DesignCreate(
        nullptr, "Affine", {{kmifInline + kmifFloat64, "x", 3}, {kmifInline + kmifFloat64, "y", 3}},
        slot);
}

} // namespace kxfr
