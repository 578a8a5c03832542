// SPDX-License-Identifier: MIT
#include "sarm/polar_format.h"

#include <algorithm>
#include <cmath>

namespace sarm {

namespace {

Vec3 unit(const Vec3& vector) {
    return (1 / norm(vector)) * vector;
}

/// @return (V x S).(P - S): positive for points to the right of the flight direction.
double rightOf(const PolarFormatParameters& p, const Vec3& point) {
    return dot(cross(p.antennaVelocity, p.antennaPosition), point - p.antennaPosition);
}

bool areFinite(const PolarFormatParameters& p) {
    const double numbers[] = {p.ellipsoid.semiMajorAxisM,
                              p.ellipsoid.semiMinorAxisM,
                              p.terrainHeightM,
                              norm(p.antennaPosition),
                              norm(p.antennaVelocity),
                              norm(p.referencePoint),
                              p.referenceSample,
                              p.referenceLine,
                              p.sampleSpacingM,
                              p.lineSpacingM,
                              p.polarAngleRad,
                              p.polarAngleRate,
                              p.scaleFactor,
                              p.scaleFactorSlope};
    return std::all_of(std::begin(numbers), std::end(numbers),
                       [](double number) { return std::isfinite(number); });
}

} // namespace

const char* faultOf(const PolarFormatParameters& p) {
    constexpr double lowestM = 6.3e6, highestM = 1e8; // from the earth's centre
    if (!areFinite(p))
        return "a number is not finite";
    if (p.numberOfLines < 1 || p.numberOfSamples < 1)
        return "the image has no lines or no samples";
    if (!(p.ellipsoid.semiMajorAxisM > 0 && p.ellipsoid.semiMinorAxisM > 0))
        return "the ellipsoid has no size";
    if (!(p.sampleSpacingM > 0 && p.lineSpacingM > 0))
        return "the sample spacings are not positive";
    if (!(norm(p.antennaPosition) > lowestM && norm(p.antennaPosition) < highestM &&
          norm(p.antennaVelocity) > 10 && norm(p.antennaVelocity) < 2e4 &&
          norm(cross(unit(p.antennaPosition), unit(p.antennaVelocity))) > 0.1))
        return "the antenna's position and velocity are not those of a satellite";
    if (!(p.scaleFactor > 0))
        return "the scale factor of spatial frequencies is not positive";
    if (p.polarAngleRate == 0)
        return "the polar angle does not change with time";
    if (!(norm(p.referencePoint) > lowestM / 2 &&
          dot(p.referencePoint, p.referencePoint - p.antennaPosition) < 0 &&
          rightOf(p, p.referencePoint) != 0))
        return "the antenna does not see the scene reference point";
    const PolarFormatModel model(p);
    if (footprint(model, 1).size() != 4)
        return "a corner of the image does not meet the ground";
    return nullptr;
}

PolarFormatModel::PolarFormatModel(const PolarFormatParameters& parameters)
    : parameters_(parameters), cosAngle_(std::cos(parameters.polarAngleRad)),
      sinAngle_(std::sin(parameters.polarAngleRad)), reference_(seen(parameters.referencePoint)),
      along_(unit(parameters.antennaVelocity)) {
    const Vec3& antenna = parameters_.antennaPosition;
    down_ = unit(dot(antenna, along_) * along_ - antenna);
    const double right = rightOf(parameters_, parameters_.referencePoint) > 0 ? 1 : -1;
    side_ = right * cross(down_, along_);
}

ImageSize PolarFormatModel::imageSize() const {
    return {parameters_.numberOfSamples, parameters_.numberOfLines};
}

PolarFormatModel::RangeAndRate PolarFormatModel::seen(const Vec3& point) const {
    const Vec3 sight = parameters_.antennaPosition - point;
    const double range = norm(sight);
    return {range, dot(parameters_.antennaVelocity, sight) / range};
}

bool PolarFormatModel::isLit(const Vec3& point) const {
    const Vec3 sight = point - parameters_.antennaPosition;
    return dot(side_, sight) > 0 && dot(point, sight) < 0;
}

/// The equations of the class, solved for the image position: u from the range difference, w from
/// the rate difference, then p = u cos a - w sin a and q = u sin a + w cos a.
std::optional<ImagePosition> PolarFormatModel::groundToImage(const GroundPosition& ground) const {
    const PolarFormatParameters& p = parameters_;
    const Vec3 point = toEarthFixed(ground, p.ellipsoid);
    if (!isLit(point))
        return std::nullopt;
    const RangeAndRate at = seen(point);
    const double u = (at.rangeM - reference_.rangeM) / p.scaleFactor;
    const double w = ((at.rateMS - reference_.rateMS) / p.polarAngleRate - p.scaleFactorSlope * u) /
                     p.scaleFactor;
    return ImagePosition{p.referenceSample + (u * cosAngle_ - w * sinAngle_) / p.sampleSpacingM,
                         p.referenceLine + (u * sinAngle_ + w * cosAngle_) / p.lineSpacingM};
}

/// The equations of the class as they stand: p, q, then u, w, then range and rate of the point.
std::optional<GroundPosition> PolarFormatModel::imageToGround(const ImagePosition& image,
                                                              double heightM) const {
    const PolarFormatParameters& p = parameters_;
    const double along = (image.sample - p.referenceSample) * p.sampleSpacingM;
    const double across = (image.line - p.referenceLine) * p.lineSpacingM;
    const double u = along * cosAngle_ + across * sinAngle_;
    const double w = across * cosAngle_ - along * sinAngle_;
    const auto point =
        meet({reference_.rangeM + p.scaleFactor * u,
              reference_.rateMS + (p.scaleFactorSlope * u + p.scaleFactor * w) * p.polarAngleRate},
             heightM);
    if (!point)
        return std::nullopt;
    const GroundPosition ground = toGeodetic(*point, p.ellipsoid);
    return GroundPosition{ground.lonDeg, ground.latDeg, heightM};
}

/// Points with equal range r and equal rate lie on a circle around the line of flight. Its centre
/// is ahead of the antenna by -r rate / |V|, its radius (`reach`) is sqrt(r^2 - ahead^2):
/// P = centre + reach (cos(look) down + sin(look) side).
/// Newton's method finds the look angle at which P has the height.
std::optional<Vec3> PolarFormatModel::meet(const RangeAndRate& wanted, double heightM) const {
    constexpr int mostRounds = 20;
    constexpr double settledM = 0.03; // the next step reduces it to 1e-8 m
    const PolarFormatParameters& p = parameters_;
    if (!(wanted.rangeM > 0))
        return std::nullopt;
    const double ahead = -wanted.rangeM * wanted.rateMS / norm(p.antennaVelocity);
    const double reach = std::sqrt(wanted.rangeM * wanted.rangeM - ahead * ahead);
    const Vec3 centre = p.antennaPosition + ahead * along_;

    // The start: law of cosines for a sphere with the earth's radius below the antenna.
    const Ellipsoid& e = p.ellipsoid;
    const double sinLatitude = p.antennaPosition.z / norm(p.antennaPosition);
    const double earth = e.semiMajorAxisM -
                         (e.semiMajorAxisM - e.semiMinorAxisM) * sinLatitude * sinLatitude +
                         heightM;
    double look = std::acos((earth * earth - dot(centre, centre) - reach * reach) /
                            (2 * reach * dot(centre, down_)));
    for (int round = 0; round < mostRounds && std::isfinite(look); ++round) {
        const Vec3 point = centre + reach * (std::cos(look) * down_ + std::sin(look) * side_);
        const GroundPosition at = toGeodetic(point, e);
        const double error = at.heightM - heightM;
        const double slope =
            reach * dot(upDirection(at), std::cos(look) * side_ - std::sin(look) * down_);
        look -= error / slope;
        if (!(std::abs(error) > settledM)) {
            const Vec3 found = centre + reach * (std::cos(look) * down_ + std::sin(look) * side_);
            return isLit(found) ? std::optional(found) : std::nullopt;
        }
    }
    return std::nullopt;
}

std::optional<double> PolarFormatModel::incidenceDeg(const ImagePosition& image,
                                                     double heightM) const {
    const auto ground = imageToGround(image, heightM);
    if (!ground)
        return std::nullopt;
    return sarm::incidenceDeg(*ground, parameters_.antennaPosition, parameters_.ellipsoid);
}

} // namespace sarm
