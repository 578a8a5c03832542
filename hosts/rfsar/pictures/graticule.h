// SPDX-License-Identifier: MIT
#pragma once

#include "pictures/overlay.h"
#include "pictures/picture_place.h"

/// Draws meridians and parallels at the scene's height, each with its label where there is room.
/// @param stepDeg  between lines; 0 for about five lines in each direction, at round numbers.
/// @param taken  boxes that labels must not cover.
/// @throws loader::Error when a part of the picture does not meet the ground, or for a step that
///         makes too many lines.
void drawGraticule(const PicturePlace& place, double stepDeg,
                   const std::vector<Overlay::Box>& taken, Overlay& overlay);
