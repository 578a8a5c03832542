// SPDX-License-Identifier: MIT
#pragma once

#include "sarm/sensor_model.h"

#include <array>

namespace sarm {

/// Rational polynomials of a model in the RPC00B form: with P, L, H the latitude, longitude and
/// height less offset, over scale,
/// line = lineOffset + lineScale * N(P, L, H) / D(P, L, H), the sample likewise; 20 terms each:
/// 1 L P H LP LH PH L2 P2 H2 LPH L3 LP2 LH2 L2P P3 PH2 L2H P2H H3.
/// Lines and samples count from 0 at the centre of the first pixel.
struct Rpc {
    double lineOffset = 0, sampleOffset = 0, latOffsetDeg = 0, lonOffsetDeg = 0, heightOffsetM = 0;
    double lineScale = 1, sampleScale = 1, latScaleDeg = 1, lonScaleDeg = 1, heightScaleM = 1;
    std::array<double, 20> lineNumerator{}, lineDenominator{};
    std::array<double, 20> sampleNumerator{}, sampleDenominator{};
    double maxLineError = 0; ///< against the model, over a grid twice as fine as the fit's
    double maxSampleError = 0;
    /// The error in the form of RPC00B: root mean squares along a horizontal axis, m; -1 when
    /// unknown.
    double biasErrorM = -1, randomErrorM = -1;
};

/// Fits rational polynomials to a model by least squares, over the whole image and heights within
/// `heightRangeM` of the terrain height.
/// @return nullopt when part of that volume has no position in the image.
/// Accuracy: below 0.01 pixel for +-500 m on images up to 150 km wide; the result states its
/// errors.
/// Source: The Compendium of Controlled Extensions for NITF (STDI-0002), RPC00B.
RF_PLATFORM_API std::optional<Rpc> fitRpc(const SensorModel& model, double heightRangeM = 500);

/// Measures the errors of any polynomials against a model as fitRpc does, and sets their error
/// members.
/// @return false when part of the volume has no position in the image, by the model or by the
///         polynomials.
RF_PLATFORM_API bool measureRpc(Rpc& rpc, const SensorModel& model, double heightRangeM = 500);

/// @return the image position of a ground point by the polynomials.
RF_PLATFORM_API ImagePosition rpcPosition(const Rpc& rpc, const GroundPosition& ground);

} // namespace sarm
