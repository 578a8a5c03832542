// SPDX-License-Identifier: MIT
#pragma once

#include "kmif/kmif.h"
#include "kxfr/kxfr.h"

#include <span>
#include <stdexcept>
#include <string_view>

namespace kxfr {

/// One step between map and pixels: a block of plain numbers and their meaning.
class Part {
public:
    Part() = default;
    Part(const Part&) = delete;
    Part& operator=(const Part&) = delete;
    virtual ~Part() = default;

    virtual std::string_view designName() const = 0;
    /// @return the coordinates it yields: "map", "plane" or "pixels".
    virtual std::string_view to() const = 0;
    /// @return the numbers, as the part's design describes them.
    virtual const void* data() const = 0;

    /// Replace x and y of every point; heights stay. Points without an answer become NaN.
    virtual void towardsPixels(std::span<KxfrMapPoint> points) const = 0;
    virtual void towardsMap(std::span<KxfrMapPoint> points) const = 0;

    /// @return the sensor model that the part is; null when it is none.
    virtual const sarm::SensorModel* sensorModel() const { return nullptr; }
};
using PartPtr = std::unique_ptr<const Part>;

/// A kind of part: the layout of its numbers, and how to make a part from them.
struct Kind {
    const char* designName;
    /// @return a design that the caller destroys; null with a report when memory is short.
    KmifDesign* (*makeDesign)(KERR_REPORT** slot);
    /// @param data  numbers as the design describes them, 8-byte aligned.
    /// @throws std::runtime_error when the numbers are not valid for this kind.
    PartPtr (*make)(const void* data);
};

/// @return null when there is no such kind.
RF_PLATFORM_API const Kind* findKind(std::string_view designName);

/// x = centreLongitude + a turn of at most half a circle either way.
struct LongitudeTurnData {
    double centreLongitude; ///< degrees
};
/// Stereographic projection of longitude and latitude from the unit sphere to the plane that
/// touches it at the centre: exact in both directions, smooth everywhere except at the antipode.
struct TouchingPlaneData {
    double centreLongitude, centreLatitude; ///< degrees
};
/// x = x[0] + x[1] * sample + x[2] * line, y likewise.
struct AffineData {
    double x[3], y[3];
};
/// u = (sample - centreSample) / sampleScale, v = (line - centreLine) / lineScale;
/// x = centreX + mapScale * sum of x[k] * m[k], y likewise, with m = 1, u, v, u2, uv, v2, u3, u2v,
/// uv2, v3; order 1 uses the first 3 of them, order 2 six.
struct PolynomialData {
    std::int32_t order;
    double centreSample, centreLine, sampleScale, lineScale;
    double centreX, centreY, mapScale;
    double x[10], y[10];
};
constexpr int termsOfOrder[] = {1, 3, 6, 10};

PartPtr makeLongitudeTurn(const LongitudeTurnData& data);
PartPtr makeTouchingPlane(const TouchingPlaneData& data);
PartPtr makeAffine(const AffineData& data);
PartPtr makePolynomial(const PolynomialData& data);
PartPtr makeRangeDoppler(const sarm::ModelParameters& parameters);
PartPtr makePolarFormat(const sarm::PolarFormatParameters& parameters);

KmifDesign* longitudeTurnDesign(KERR_REPORT** slot);
KmifDesign* touchingPlaneDesign(KERR_REPORT** slot);
KmifDesign* affineDesign(KERR_REPORT** slot);
KmifDesign* polynomialDesign(KERR_REPORT** slot);
KmifDesign* rangeDopplerDesign(KERR_REPORT** slot);
KmifDesign* polarFormatDesign(KERR_REPORT** slot);

/// Throws unless all are finite.
void requireFinite(std::span<const double> numbers);

/// Fits polynomials to ties that lie in a plane (kxfr_XFormFromTies).
PolynomialData fitPolynomial(std::span<const KxfrTie> ties);

/// The plane that touches the earth in the middle of the ties, and the ties in it.
TouchingPlaneData touchingPlaneOf(std::span<const KxfrTie> ties);

} // namespace kxfr
