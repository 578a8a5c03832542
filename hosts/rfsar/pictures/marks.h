// SPDX-License-Identifier: MIT
#pragma once

#include "pictures/overlay.h"
#include "pictures/picture_place.h"
#include "pictures/tone.h"

/// Draws the marks in the corners of a picture. Each returns its box, so that labels can avoid it.

/// The largest of 1, 2, 5 times a power of ten that is not above the number.
double roundedDown(double number);

/// Draws a bar, lower left, with the length of a round number of metres at the picture's centre.
/// @throws loader::Error when the centre has no place on the ground.
Overlay::Box drawScaleBar(const PicturePlace& place, Overlay& overlay);

/// Draws an arrow with the letter N, upper right, to the north at the picture's centre.
/// @throws loader::Error when the centre has no place on the ground.
Overlay::Box drawNorthArrow(const PicturePlace& place, Overlay& overlay);

/// Draws a bar from black to white with their values, lower right.
/// @param grey  of the picture, which receives the bar's shades.
Overlay::Box drawLegend(const GreyScale& scale, Overlay& overlay, std::vector<std::uint8_t>& grey);
