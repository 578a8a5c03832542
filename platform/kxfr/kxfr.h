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

/// A chain of parts that lead from the map to the pixels, and back in reverse.
class RF_PLATFORM_API KxfrXForm {
public:
    explicit KxfrXForm(std::vector<std::unique_ptr<const kxfr::Part>> parts);
    ~KxfrXForm();
    KxfrXForm(const KxfrXForm&) = delete;
    KxfrXForm& operator=(const KxfrXForm&) = delete;

    /// The spans have one length. Points that have no answer become NaN; a point's answer does not
    /// depend on its neighbours. @return how many have one.
    std::size_t mapToPixel(std::span<const KxfrMapPoint> map, std::span<KxfrPixel> pixels) const;

    /// As above. Heights are taken from map[i].heightM, which stay as they are.
    std::size_t pixelToMap(std::span<const KxfrPixel> pixels, std::span<KxfrMapPoint> map) const;

    /// @return the sensor model that the transform is, which lives as long; null when it is none:
    ///         heights have no bearing on the answers then.
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

/// What an image's coordinates are: longitudes repeat, and have poles.
enum class KxfrMap { plane, degrees };

/// @param geoTransform  x = g[0] + g[1] * pixel + g[2] * line, y = g[3] + g[4] * pixel + g[5] *
///        line, with (0, 0) the outer corner of the first pixel.
/// @param width,height  of the image; longitudes are counted from its middle.
/// @return freed with kxfr_XFormFree; null with a report when pixels do not spread over an area.
RF_PLATFORM_API KxfrXForm* kxfr_XFormFromAffine(const std::array<double, 6>& geoTransform,
                                                double width, double height, KxfrMap map,
                                                KERR_REPORT** slot);

/// A tie between a pixel and the map.
struct KxfrTie {
    KxfrPixel pixel;
    double x = 0, y = 0;
};

/// Polynomials from pixels to the map, first to third order, fitted to the ties by least squares;
/// the order is the one that predicts each tie best from the others. The way back solves the same
/// polynomials, so that both ways agree. Longitudes and latitudes are fitted in a plane that
/// touches the earth at the ties' middle, so that neither a pole nor the antimeridian disturbs.
/// @return freed with kxfr_XFormFree; null with a report when fewer than three ties are not in
///         line, or one is not a number.
/// Positions farther than one size of the tied area outside it have no answer, unless the order
/// is 1. Round trip: 1e-9 pixel.
RF_PLATFORM_API KxfrXForm* kxfr_XFormFromTies(std::span<const KxfrTie> ties, KxfrMap map,
                                              KERR_REPORT** slot);

/// The sensor model; the map is WGS 84 longitude and latitude in degrees.
/// @return freed with kxfr_XFormFree; null with a report when memory is short.
RF_PLATFORM_API KxfrXForm* kxfr_XFormFromSarModel(const sarm::Model& model, KERR_REPORT** slot);

/// As above, for an image on a polar-format grid.
/// @return null with a report that says what makes the numbers no model.
RF_PLATFORM_API KxfrXForm* kxfr_XFormFromPolarFormat(const sarm::PolarFormatParameters& parameters,
                                                     KERR_REPORT** slot);

/// The self-describing form: one entry a part, in the order from map to pixels.
///
///     from    coordinates the part takes: "map" for the first, else the `to` of the one before
///     to      coordinates it yields: "map", "plane", or for the last one "pixels"
///     data    the part's numbers as kmif_NodeToJson of the design writes them
///
/// The designs (one an entry, docs/host-interface.md lists their fields) tell the kind of part by
/// their names: "LongitudeTurn", "TouchingPlane", "Affine", "Polynomial", "RangeDoppler",
/// "PolarFormat".
/// Texts are UTF-16 blocks of the host heap, arrays too; the caller frees all, and destroys the
/// designs.
/// @return false with a report when memory is short; all outputs are 0 or null then.
RF_PLATFORM_API bool kxfr_XFormConvertToMIF(const KxfrXForm* transform, std::uint32_t* count,
                                            char16_t*** from, char16_t*** to, char16_t*** data,
                                            KmifDesign*** designs, KERR_REPORT** slot);

/// A part as a host hands it back: besides the above, a dictionary that holds the design
/// (kmif_DictionaryEncodeToString) and the design's name.
struct KxfrPartTexts {
    std::u16string_view from, to, data, dictionary, designName;
};

/// @return a transform whose answers equal those of the converted one bit by bit, on the same
///         machine; freed with kxfr_XFormFree. Null with a report that names the part and what is
///         wrong: a text is damaged, a number impossible, the chain broken.
RF_PLATFORM_API KxfrXForm* kxfr_XFormFromTexts(std::span<const KxfrPartTexts> parts,
                                               KERR_REPORT** slot);
