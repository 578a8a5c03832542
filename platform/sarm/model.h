#pragma once

#include "records/sar_metadata_record.h"
#include "rf_platform_api.h"
#include "sarm/geodesy.h"
#include "sarm/orbit_fit.h"
#include "sarm/radar_grid.h"
#include "sarm/refusal.h"

#include <optional>
#include <span>
#include <vector>

namespace sarm {

/// Everything a model is: plain numbers. A model made from a bit-equal copy gives bit-equal
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

/// The zero-Doppler, range-Doppler sensor model of one image: which ground point lies at which
/// sample and line. Heights are metres above the ellipsoid, angles degrees. Constant after
/// construction; any thread may use it at any time.
///
/// Equations: |P - S(t)| = slant range; V(t).(P - S(t)) = 0; height above the ellipsoid = h.
/// Source: J. C. Curlander, R. N. McDonough, Synthetic Aperture Radar (1991), ch. 8; height by
/// B. R. Bowring, The accuracy of geodetic latitude and height equations, Survey Review 28 (1985).
/// Bowring's closed step is used, not a library's conversion, because the search needs the height
/// and its slope many times a point, in vector registers; taken twice for the result, it is exact
/// to 1e-9 m between -10 and +10 km.
class RF_PLATFORM_API Model {
public:
    /// @param why  when not null: the reason of a refusal, or Refusal::none.
    /// @return nullopt when the record is not one of a range-Doppler image or contradicts itself.
    static std::optional<Model> fromRecord(const SarMetadataRecord& record, Refusal* why = nullptr);

    /// A model from its own numbers, for example decoded ones.
    explicit Model(const ModelParameters& parameters);

    const ModelParameters& parameters() const { return parameters_; }

    /// Where a ground point lies in the image; beyond its edges too.
    /// @return nullopt when the point is on the other side of the track, below the satellite's
    ///         horizon, farther than half the image's duration from it, or not a number.
    /// Accuracy: 1e-6 line and sample against imageToGround inside the image extended by 10 %.
    std::optional<ImagePosition> groundToImage(const GroundPosition& ground) const;

    /// Where an image position lies on the ground; longitude -180..180.
    /// @param heightM  height of the ground point above the ellipsoid, -10 to +10 km.
    /// @return nullopt when the range circle does not meet that height, or beyond half the
    ///         image's duration before or after it.
    std::optional<GroundPosition> imageToGround(const ImagePosition& image, double heightM) const;

    /// The same for many points; positions that have no answer become NaN. No allocation.
    /// The two spans have one length. A point's answer does not depend on its neighbours.
    /// @return how many points have an answer.
    std::size_t groundToImage(std::span<const GroundPosition> ground,
                              std::span<ImagePosition> image) const;

    /// As above; heights are taken from ground[i].heightM, which stay as they are.
    std::size_t imageToGround(std::span<const ImagePosition> image,
                              std::span<GroundPosition> ground) const;

    /// @return incidence angle at an image position, between the line of sight and the ellipsoid's
    ///         normal, degrees; nullopt as imageToGround.
    std::optional<double> incidenceDeg(const ImagePosition& image, double heightM) const;

    /// @return the middle of the image: ((samples - 1) / 2, (lines - 1) / 2).
    ImagePosition centre() const;

    /// How fromRecord made this model; all defaults for a model made from its parameters.
    const ModelHistory& history() const { return history_; }

private:
    ModelParameters parameters_;
    ModelHistory history_;
};

/// The outline of the image on the ground at the terrain height: outer pixel edges, from the first
/// line's first sample along that line and around. The first point is not repeated.
/// @param pointsPerEdge  1 gives the four corners.
/// @return 4 * pointsPerEdge points; fewer only where a position has no answer.
RF_PLATFORM_API std::vector<GroundPosition> footprint(const Model& model, int pointsPerEdge);

} // namespace sarm
