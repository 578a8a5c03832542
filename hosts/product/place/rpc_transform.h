// SPDX-License-Identifier: MIT
#pragma once

#include "kxfr/kxfr.h"
#include "sarm/rpc.h"

namespace product {

/// Rational functions as a transform between WGS 84 longitude, latitude, height and pixels. The
/// way to the ground solves the same functions, so that both ways agree to 1e-7 pixel. Beyond half
/// of their own reach outside of it, where the functions tell nothing, places have no answer.
/// @param width,height  of the image; @param sceneHeightM  above the ellipsoid.
KxfrXFormPtr rpcTransform(const sarm::Rpc& rpc, int width, int height, double sceneHeightM);

} // namespace product
