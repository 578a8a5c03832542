// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"
#include "sarm/geodesy.h"

#include <optional>
#include <span>
#include <vector>

namespace sarm {

struct ImageSize {
    int samples = 0, lines = 0;
};

/// Which ground point lies at which sample and line of one image. Heights are metres above the
/// ellipsoid, angles degrees. Constant after construction; any thread may use it at any time.
class RF_PLATFORM_API SensorModel {
public:
    virtual ~SensorModel();

    virtual ImageSize imageSize() const = 0;
    /// @return height of the scene, for callers without a terrain model.
    virtual double terrainHeightM() const = 0;

    /// Where a ground point lies in the image; beyond its edges too.
    /// @return nullopt when the point is on the other side of the track, below the satellite's
    ///         horizon, outside the model's reach, or not a number.
    virtual std::optional<ImagePosition> groundToImage(const GroundPosition& ground) const = 0;

    /// Where an image position lies on the ground; longitude -180..180.
    /// @param heightM  height of the ground point above the ellipsoid, -10 to +10 km.
    /// @return nullopt when the line of sight does not meet that height, or outside the model's
    ///         reach.
    virtual std::optional<GroundPosition> imageToGround(const ImagePosition& image,
                                                        double heightM) const = 0;

    /// The same for many points; positions that have no answer become NaN. No allocation.
    /// The two spans have one length. A point's answer does not depend on its neighbours.
    /// @return how many points have an answer.
    virtual std::size_t groundToImage(std::span<const GroundPosition> ground,
                                      std::span<ImagePosition> image) const;

    /// The same, and the points' earth-fixed positions, m (also of those that have no answer; not a
    /// number where a coordinate is none). The three spans have one length.
    virtual std::size_t groundToImage(std::span<const GroundPosition> ground,
                                      std::span<ImagePosition> image, std::span<Vec3> space) const;

    /// As above; heights are taken from ground[i].heightM, which stay as they are.
    virtual std::size_t imageToGround(std::span<const ImagePosition> image,
                                      std::span<GroundPosition> ground) const;

    /// @return incidence angle at an image position, between the line of sight and the ellipsoid's
    ///         normal, degrees; nullopt as imageToGround.
    virtual std::optional<double> incidenceDeg(const ImagePosition& image,
                                               double heightM) const = 0;

    /// @return what heights count from.
    virtual Ellipsoid ellipsoid() const { return {}; }

    /// @return where the antenna is when it sees a line, earth-fixed, m; in polar format at the
    ///         centre of the aperture, one place for all lines. NaN for models that do not know.
    virtual Vec3 antennaAt(double line) const;

    /// @return the middle of the image: ((samples - 1) / 2, (lines - 1) / 2).
    ImagePosition centre() const;

protected:
    SensorModel() = default;
    SensorModel(const SensorModel&) = default;
    SensorModel& operator=(const SensorModel&) = default;
};

/// The outline of the image on the ground at the terrain height: outer pixel edges, from the first
/// line's first sample along that line and around. The first point is not repeated.
/// @param pointsPerEdge  1 gives the four corners.
/// @return 4 * pointsPerEdge points; fewer only where a position has no answer.
RF_PLATFORM_API std::vector<GroundPosition> footprint(const SensorModel& model, int pointsPerEdge);

} // namespace sarm
