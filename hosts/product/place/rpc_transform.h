// SPDX-License-Identifier: MIT
#pragma once

#include "kxfr/kxfr.h"
#include "sarm/rpc.h"

namespace product {

/// Makes a transform between WGS 84 longitude, latitude, height and pixels from rational functions.
/// Image to ground solves the same functions, so both directions agree to 1e-7 pixel. Points
/// farther outside the functions' range than half of that range have no solution, because the
/// functions are meaningless there.
/// @param width,height  of the image; @param sceneHeightM  above the ellipsoid.
KxfrXFormPtr rpcTransform(const sarm::Rpc& rpc, int width, int height, double sceneHeightM);

} // namespace product
