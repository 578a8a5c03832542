// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "kmif/kmif.h"
#include "rf_platform_api.h"
#include "sarm/model.h"
#include "sarm/polar_format.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

/// Transforms between map and pixels. Pixels count from 0 at the centre of the first pixel; map
/// coordinates are those of a projection (kprj/kprj.h), x east or longitude, y north or latitude.
/// A transform is constant once made; any thread may use it at any time. Failures put a report
/// into the slot, which may be null; no exception leaves these calls, nothing is printed.

struct KxfrMapPoint {
    double x = 0, y = 0;
    double heightM = 0; ///< above the ellipsoid
};

struct KxfrPixel {
    double sample = 0, line = 0;
};

namespace kxfr {
class Part;
}

/// A chain of parts that convert from the map to the pixels, and in reverse order back.
class RF_PLATFORM_API KxfrXForm {
public:
    explicit KxfrXForm(std::vector<std::unique_ptr<const kxfr::Part>> parts);
    ~KxfrXForm();
    KxfrXForm(const KxfrXForm&) = delete;
    KxfrXForm& operator=(const KxfrXForm&) = delete;

    /// Both spans must have the same length. Points without a solution become NaN; a point's result
    /// does not depend on its neighbours. @return the number of points with a solution.
    std::size_t mapToPixel(std::span<const KxfrMapPoint> map, std::span<KxfrPixel> pixels) const;

    /// As above, from pixels to the map. Reads heights from map[i].heightM and leaves them
    /// unchanged.
    std::size_t pixelToMap(std::span<const KxfrPixel> pixels, std::span<KxfrMapPoint> map) const;

    /// @return the transform's sensor model, owned by the transform; null when it has none: then
    ///         heights do not matter.
    const sarm::SensorModel* sensorModel() const;
    /// @return the height of the scene, m above the ellipsoid; 0 without a sensor model.
    double sceneHeightM() const;

    const std::vector<std::unique_ptr<const kxfr::Part>>& parts() const { return parts_; }

private:
    std::vector<std::unique_ptr<const kxfr::Part>> parts_;
};

/// Null is allowed.
RF_PLATFORM_API void kxfr_XFormFree(KxfrXForm* transform);

struct KxfrXFormDeleter {
    void operator()(KxfrXForm* transform) const { kxfr_XFormFree(transform); }
};
using KxfrXFormPtr = std::unique_ptr<KxfrXForm, KxfrXFormDeleter>;

/// The kind of map coordinates. Degrees repeat and have poles.
enum class KxfrMap { plane, degrees };

/// @param geoTransform  x = g[0] + g[1] * pixel + g[2] * line, y = g[3] + g[4] * pixel + g[5] *
///        line, with (0, 0) the outer corner of the first pixel.
/// @param width,height  of the image; longitudes are taken within half a turn of its middle.
/// @return freed with kxfr_XFormFree; null with a report when the geotransform is singular.
RF_PLATFORM_API KxfrXForm* kxfr_XFormFromAffine(const std::array<double, 6>& geoTransform,
                                                double width, double height, KxfrMap map,
                                                KERR_REPORT** slot);

/// A tie between a pixel and the map.
struct KxfrTie {
    KxfrPixel pixel;
    double x = 0, y = 0;
};

/// Polynomials of first to third order from pixels to the map, fitted to the ties by least squares.
/// The order is the one that best predicts each tie from the others. Map to pixel solves the same
/// polynomials, so both directions agree. Longitudes and latitudes are fitted in a plane that
/// touches the earth at the ties' middle, so that poles and the antimeridian do no harm.
/// @return freed with kxfr_XFormFree; null with a report when all ties lie on one line, or one is
///         not a number. Positions farther outside the tied area than its size have no solution,
///         unless the order is 1. Round trip: 1e-9 pixel.
RF_PLATFORM_API KxfrXForm* kxfr_XFormFromTies(std::span<const KxfrTie> ties, KxfrMap map,
                                              KERR_REPORT** slot);

/// Makes a transform from a sensor model; the map is WGS 84 longitude and latitude in degrees.
/// @return freed with kxfr_XFormFree; null with a report when memory is short.
RF_PLATFORM_API KxfrXForm* kxfr_XFormFromSarModel(const sarm::Model& model, KERR_REPORT** slot);

/// As above, for an image on a polar-format grid.
/// @return null with a report that says why the parameters are not valid.
RF_PLATFORM_API KxfrXForm* kxfr_XFormFromPolarFormat(const sarm::PolarFormatParameters& parameters,
                                                     KERR_REPORT** slot);

/// Converts to the self-describing form: one entry per part, in the order from map to pixels.
///
///     from    coordinates the part takes: "map" for the first, else the `to` of the one before
///     to      coordinates it yields: "map", "plane", or for the last one "pixels"
///     data    the part's numbers as kmif_NodeToJson of the design writes them
///
/// There is one design per entry (docs/host-interface.md lists their fields). Its name is the kind
/// of part: "LongitudeTurn", "TouchingPlane", "Affine", "Polynomial", "RangeDoppler" or
/// "PolarFormat". Texts are UTF-16 blocks of the host heap, and so are arrays; the caller frees all
/// of them and destroys the designs. Only `slot` may be null.
/// @return false with a report when `transform` is null or memory is short; all outputs are 0 or
///         null then.
RF_PLATFORM_API bool kxfr_XFormConvertToMIF(const KxfrXForm* transform, std::uint32_t* count,
                                            char16_t*** from, char16_t*** to, char16_t*** data,
                                            KmifDesign*** designs, KERR_REPORT** slot);

/// A part as a host passes it back: the texts above, a dictionary with the design
/// (kmif_DictionaryEncodeToString), and the design's name.
struct KxfrPartTexts {
    std::u16string_view from, to, data, dictionary, designName;
};

/// @return a transform with results bit-identical to those of the converted one, on the same
///         machine; freed with kxfr_XFormFree. Null with a report that names the part and its
///         fault: a damaged text, an impossible number, a broken chain.
RF_PLATFORM_API KxfrXForm* kxfr_XFormFromTexts(std::span<const KxfrPartTexts> parts,
                                               KERR_REPORT** slot);
