// SPDX-License-Identifier: MIT
#pragma once

#include "kxfr/kxfr.h"
#include "product/place/locator.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// How an image is turned for a picture: first transposed (lines become columns), then mirrored.
struct Orientation {
    bool transposed = false;
    bool mirroredAcross = false; ///< left and right are swapped
    bool mirroredDown = false;   ///< top and bottom are swapped

    bool changesNothing() const { return !transposed && !mirroredAcross && !mirroredDown; }
    /// @return "turned by 180 degrees", "mirrored left to right", ...; "as stored".
    std::string text() const;
};

/// The layout of a picture of a whole image. Positions in both count from (0, 0) at the centre of
/// the first pixel.
struct PictureLayout {
    double imageWidth = 0, imageHeight = 0; ///< pixels
    std::uint32_t width = 0, height = 0;    ///< of the picture
    Orientation orientation;

    KxfrPixel toImage(double x, double y) const;
    std::pair<double, double> toPicture(const KxfrPixel& pixel) const;
    /// @return the number of cells that the image's lines and columns are averaged into: as many
    ///         as the picture has pixels, but no more than the image has.
    std::pair<std::uint32_t, std::uint32_t> cells() const;
    /// @param cells  values in the image's own order, as many as cells() says.
    /// @return the values of the picture's pixels; several pixels may show one cell.
    std::vector<float> arranged(const std::vector<float>& cells) const;
};

/// The size and direction of an image's pixels on the ground, at its centre.
struct GroundGrid {
    double sampleM = 0, lineM = 0; ///< size of a pixel, averaged over the image
    double sampleBearing = 0,
           lineBearing = 0; ///< direction of the next one, clockwise from north, rad
};

/// @return nothing when the image's middle lines do not meet the ground.
std::optional<GroundGrid> groundGrid(const product::Locator& locator, double width, double height);

/// @return the orientation that brings north nearest to up and east nearest to right, by quarter
///         turns and mirroring.
Orientation northUp(const GroundGrid& grid);

/// @return degrees from the picture's upward direction to north, clockwise, -180..180.
double northInPictureDeg(const GroundGrid& grid, const Orientation& orientation);

/// @param longSide  pixels of the picture's long side; fewer if the image has fewer.
/// @param grid  nothing: pixels count as square.
PictureLayout layOut(double imageWidth, double imageHeight, std::uint32_t longSide,
                     const std::optional<GroundGrid>& grid, const Orientation& orientation);
