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

/// Relates ground points to samples and lines of one image. Heights are metres above the ellipsoid,
/// angles degrees. Constant after construction; any thread may use it at any time.
class RF_PLATFORM_API SensorModel {
public:
    virtual ~SensorModel();

    virtual ImageSize imageSize() const = 0;
    /// @return height of the scene, for callers without a terrain model.
    virtual double terrainHeightM() const = 0;

    /// Returns the image position of a ground point, also beyond the image's edges.
    /// @return nullopt when the point is on the other side of the track, beyond the horizon as seen
    ///         from the satellite, outside the model's range, or not a number.
    virtual std::optional<ImagePosition> groundToImage(const GroundPosition& ground) const = 0;

    /// Returns the ground point of an image position; longitude -180..180.
    /// @param heightM  height of the ground point above the ellipsoid, -10 to +10 km.
    /// @return nullopt when the line of sight does not meet that height, or outside the model's
    ///         range.
    virtual std::optional<GroundPosition> imageToGround(const ImagePosition& image,
                                                        double heightM) const = 0;

    /// The same for many points; points without a solution become NaN. No allocation. Both spans
    /// must have the same length. A point's result does not depend on its neighbours.
    /// @return the number of points with a solution.
    virtual std::size_t groundToImage(std::span<const GroundPosition> ground,
                                      std::span<ImagePosition> image) const;

    /// The same, and the points' earth-fixed positions, m, also for points without a solution; NaN
    /// where a coordinate is not a number. All three spans must have the same length.
    virtual std::size_t groundToImage(std::span<const GroundPosition> ground,
                                      std::span<ImagePosition> image, std::span<Vec3> space) const;

    /// The same for imageToGround. Reads heights from ground[i].heightM and leaves them unchanged.
    virtual std::size_t imageToGround(std::span<const ImagePosition> image,
                                      std::span<GroundPosition> ground) const;

    /// @return incidence angle at an image position, between the line of sight and the ellipsoid's
    ///         normal, degrees; nullopt as imageToGround.
    virtual std::optional<double> incidenceDeg(const ImagePosition& image,
                                               double heightM) const = 0;

    /// @return the ellipsoid that heights refer to.
    virtual Ellipsoid ellipsoid() const { return {}; }

    /// @return the antenna's earth-fixed position for a line, m; in polar format the centre of the
    ///         aperture, the same for all lines. NaN for models without it.
    virtual Vec3 antennaAt(double line) const;

    /// @return the middle of the image: ((samples - 1) / 2, (lines - 1) / 2).
    ImagePosition centre() const;

protected:
    SensorModel() = default;
    SensorModel(const SensorModel&) = default;
    SensorModel& operator=(const SensorModel&) = default;
};

/// The outline of the image on the ground at the terrain height: the outer pixel edges, beginning
/// at the first sample of the first line and running along that line. The first point is not
/// repeated.
/// @param pointsPerEdge  1 or more; 1 gives the four corners.
/// @return 4 * pointsPerEdge points; fewer only where a position has no solution.
RF_PLATFORM_API std::vector<GroundPosition> footprint(const SensorModel& model, int pointsPerEdge);

} // namespace sarm
