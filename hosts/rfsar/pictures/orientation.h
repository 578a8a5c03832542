// SPDX-License-Identifier: MIT
#pragma once

#include "kxfr/kxfr.h"
#include "product/place/locator.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// How an image is laid into a picture: transposed first (lines become columns), then mirrored.
struct Orientation {
    bool transposed = false;
    bool mirroredAcross = false; ///< left and right change sides
    bool mirroredDown = false;   ///< top and bottom change sides

    bool changesNothing() const { return !transposed && !mirroredAcross && !mirroredDown; }
    /// @return "turned by 180 degrees", "mirrored left to right", ...; "as stored".
    std::string text() const;
};

/// A picture of a whole image. Places in it count from (0, 0) at the centre of its first pixel, as
/// those in the image do.
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
    /// @return those of the picture's pixels; a cell may stand in several.
    std::vector<float> arranged(const std::vector<float>& cells) const;
};

/// What an image's pixels are on the ground, at its centre.
struct GroundGrid {
    double sampleM = 0, lineM = 0; ///< size of a pixel, averaged over the image
    double sampleBearing = 0,
           lineBearing = 0; ///< clockwise from north, rad: where the next one lies
};

/// @return nothing when the image's middle lines have no place on the ground.
std::optional<GroundGrid> groundGrid(const product::Locator& locator, double width, double height);

/// @return how the picture must lie so that north is up and east is right as nearly as turns by
///         quarters and mirrors allow.
Orientation northUp(const GroundGrid& grid);

/// @return degrees from the picture's upward direction to north, clockwise, -180..180.
double northInPictureDeg(const GroundGrid& grid, const Orientation& orientation);

/// @param longSide  pixels of the picture's long side; fewer where the image has not so many.
/// @param grid  nothing for pixels that are taken to be square.
PictureLayout layOut(double imageWidth, double imageHeight, std::uint32_t longSide,
                     const std::optional<GroundGrid>& grid, const Orientation& orientation);
