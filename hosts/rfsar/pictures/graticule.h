#pragma once

#include "pictures/overlay.h"
#include "product/place/locator.h"

/// A picture of a whole image.
struct PictureOf {
    const product::Locator& locator;
    double imageWidth, imageHeight;
};

/// Draws meridians and parallels at the scene's height, each with its label where there is room.
/// @param stepDeg  between lines; 0 for about five lines either way, at round numbers.
/// @param taken  where no label may stand.
/// @throws loader::Error when a part of the image has no place on the ground, or for a step that
///         makes too many lines.
void drawGraticule(const PictureOf& picture, double stepDeg, const std::vector<Overlay::Box>& taken,
                   Overlay& overlay);

/// Draws a bar as long as a round number of metres along the lines at the image's centre.
/// @return where it stands.
Overlay::Box drawScaleBar(const PictureOf& picture, Overlay& overlay);
