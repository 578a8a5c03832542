// SPDX-License-Identifier: MIT
#pragma once

#include "records/sar_metadata_record.h"
#include "rf_platform_api.h"
#include "sarm/orbit_fit.h"
#include "sarm/radar_grid.h"
#include "sarm/refusal.h"
#include "sarm/sensor_model.h"

namespace sarm {

/// All parameters of a model, as plain numbers. A model made from a bit-equal copy gives bit-equal
/// positions on the same machine.
struct ModelParameters {
    Ellipsoid ellipsoid;
    double terrainHeightM = 0; ///< height of the scene, for callers without a terrain model
    double startTimeS = 0;     ///< s of day of the start of the image; may be negative
    double imageDurationS = 0; ///< from the earliest to the latest line time
    double side = 0;           ///< +1 the antenna looks right, -1 left
    RadarGrid grid;
    OrbitPolynomials orbit;
};

/// How the model was made, for diagnosis.
struct ModelHistory {
    OrbitMethod method = OrbitMethod::separate;
    bool timesRepaired = false; ///< midnight was unfolded
    bool selfTimed = false;     ///< uneven state vectors were timed from their motion
    double positionRmsM = 0, velocityRmsMS = 0;
    double firstVectorS = 0; ///< s from the start of the image
    double vectorIntervalS = 0;
};

/// The range-Doppler sensor model of one image on a zero-Doppler grid. Points whose zero-Doppler
/// time is more than half the image's duration before or after the image have no solution.
///
/// Equations: |P - S(t)| = slant range; V(t).(P - S(t)) = 0; height above the ellipsoid = h.
/// Source: J. C. Curlander, R. N. McDonough, Synthetic Aperture Radar (1991), ch. 8; height by
/// B. R. Bowring, The accuracy of geodetic latitude and height equations, Survey Review 28 (1985).
/// The model uses Bowring's closed step instead of a library's conversion, because the search needs
/// the height and its slope many times per point, in vector registers. Applied twice for the
/// result, the step is exact to 1e-9 m between -10 and +10 km.
/// Accuracy: 1e-6 line and sample for a round trip, inside the image extended by 10 %.
class RF_PLATFORM_API Model final : public SensorModel {
public:
    /// @param why  receives the reason of a refusal, or Refusal::none; may be null.
    /// @return nullopt when the record is not that of a range-Doppler image or contradicts itself.
    static std::optional<Model> fromRecord(const SarMetadataRecord& record, Refusal* why = nullptr);

    /// Makes a model from its parameters, for example decoded ones.
    explicit Model(const ModelParameters& parameters);

    const ModelParameters& parameters() const { return parameters_; }

    ImageSize imageSize() const override;
    double terrainHeightM() const override { return parameters_.terrainHeightM; }
    std::optional<ImagePosition> groundToImage(const GroundPosition& ground) const override;
    std::optional<GroundPosition> imageToGround(const ImagePosition& image,
                                                double heightM) const override;
    std::size_t groundToImage(std::span<const GroundPosition> ground,
                              std::span<ImagePosition> image) const override;
    std::size_t groundToImage(std::span<const GroundPosition> ground,
                              std::span<ImagePosition> image, std::span<Vec3> space) const override;
    std::size_t imageToGround(std::span<const ImagePosition> image,
                              std::span<GroundPosition> ground) const override;
    Ellipsoid ellipsoid() const override { return parameters_.ellipsoid; }
    Vec3 antennaAt(double line) const override;
    std::optional<double> incidenceDeg(const ImagePosition& image, double heightM) const override;

    /// How fromRecord made this model; all defaults for a model made from its parameters.
    const ModelHistory& history() const { return history_; }

private:
    ModelParameters parameters_;
    ModelHistory history_;
};

} // namespace sarm
