// SPDX-License-Identifier: MIT
#pragma once

#include "pictures/overlay.h"
#include "pictures/picture_place.h"
#include "pictures/tone.h"

/// What stands in the corners of a picture. Each says where it stands, so that labels keep clear.

/// The largest of 1, 2, 5 times a power of ten that is not above the number.
double roundedDown(double number);

/// A bar as long as a round number of metres across the picture's centre; lower left.
/// @throws loader::Error when the centre has no place on the ground.
Overlay::Box drawScaleBar(const PicturePlace& place, Overlay& overlay);

/// An arrow to the north at the picture's centre, with its letter; upper right.
/// @throws loader::Error when the centre has no place on the ground.
Overlay::Box drawNorthArrow(const PicturePlace& place, Overlay& overlay);

/// A bar from black to white with what these stand for; lower right.
/// @param grey  of the picture, which receives the bar's shades.
Overlay::Box drawLegend(const GreyScale& scale, Overlay& overlay, std::vector<std::uint8_t>& grey);
