// SPDX-License-Identifier: MIT
#pragma once

#include "sarm/sensor_model.h"

#include <cstdint>

namespace sarm {

/// All parameters of a polar-format model, as plain numbers. The antenna's state, the polar angle
/// and the scale factor are for one time for the whole image, the centre of the aperture.
struct PolarFormatParameters {
    Ellipsoid ellipsoid;
    double terrainHeightM = 0; ///< height of the scene, for callers without a terrain model
    Vec3 antennaPosition;      ///< m
    Vec3 antennaVelocity;      ///< m/s, relative to the earth
    Vec3 referencePoint;       ///< the scene reference point, m
    double referenceSample = 0, referenceLine = 0; ///< its position in the image
    double sampleSpacingM = 0, lineSpacingM = 0;   ///< in the plane of the image
    double polarAngleRad = 0, polarAngleRate = 0;  ///< rate in rad/s
    double scaleFactor = 1;      ///< of spatial frequencies, in the plane of the image
    double scaleFactorSlope = 0; ///< d(scale factor)/d(polar angle), 1/rad
    std::int32_t numberOfLines = 0, numberOfSamples = 0;
};

/// @return why the parameters are not valid, a sentence in static storage; null when they are.
RF_PLATFORM_API const char* faultOf(const PolarFormatParameters& parameters);

/// The sensor model of an image made by the polar format algorithm, as spotlight images are. An
/// image position determines slant range and range rate at the centre of the aperture, relative to
/// those of the scene reference point. Samples run along the plane's axis of polar angle 0 (range),
/// lines across it.
///
/// Equations, with p = (sample - reference) * spacing, q = (line - reference) * spacing, angle a,
/// scale k(a), position S and velocity V of the antenna, reference point O:
/// u = p cos a + q sin a; w = q cos a - p sin a;
/// |S - P| - |S - O| = k u; rate(P) - rate(O) = (dk/da u + k w) da/dt;
/// rate(X) = V.(S - X) / |S - X|; height above the ellipsoid = h.
/// Source: NGA.STND.0024-3, Sensor Independent Complex Data, vol. 3, Image Projections Description
/// Document, polar format grid.
/// Accuracy: 1e-6 line and sample for a round trip.
class RF_PLATFORM_API PolarFormatModel final : public SensorModel {
public:
    /// @param parameters  faultOf must return null for them.
    explicit PolarFormatModel(const PolarFormatParameters& parameters);

    const PolarFormatParameters& parameters() const { return parameters_; }

    using SensorModel::groundToImage;
    using SensorModel::imageToGround;
    ImageSize imageSize() const override;
    double terrainHeightM() const override { return parameters_.terrainHeightM; }
    std::optional<ImagePosition> groundToImage(const GroundPosition& ground) const override;
    std::optional<GroundPosition> imageToGround(const ImagePosition& image,
                                                double heightM) const override;
    Ellipsoid ellipsoid() const override { return parameters_.ellipsoid; }
    Vec3 antennaAt(double) const override { return parameters_.antennaPosition; }
    std::optional<double> incidenceDeg(const ImagePosition& image, double heightM) const override;

private:
    struct RangeAndRate {
        double rangeM, rateMS;
    };
    RangeAndRate seen(const Vec3& point) const;
    std::optional<Vec3> meet(const RangeAndRate& wanted, double heightM) const;
    bool isLit(const Vec3& point) const;

    PolarFormatParameters parameters_;
    double cosAngle_, sinAngle_;
    RangeAndRate reference_;
    Vec3 along_, down_, side_; ///< axes: along the flight, down across it, to the look side
};

} // namespace sarm
