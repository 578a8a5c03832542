// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "rf_platform_api.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

/// Map projections, based on PROJ. Texts are UTF-8. Any thread may call; the caller owns the
/// objects that it makes, which are constant once made. Failures put a report into the slot, which
/// may be null; no exception leaves these calls, nothing is printed.

/// An ellipsoid of revolution, a block of the host heap.
struct KPRJ_SPHEROID {
    char name[64];        ///< NUL-terminated
    double semiMajorAxis; ///< m
    double semiMinorAxis; ///< m
};

/// @return an empty spheroid, freed with kprj_SpheroidFree; null when memory is short.
RF_PLATFORM_API KPRJ_SPHEROID* kprj_SpheroidCreate();
/// Fills the spheroid from PROJ's own list, without its database.
/// @param name  the spheroid's name ("WGS 84") or short name ("WGS84"), in any case.
/// @return false with a report when the list lacks it; the spheroid is as it was.
RF_PLATFORM_API bool kprj_SpheroidByName(std::string_view name, KPRJ_SPHEROID* spheroid,
                                         KERR_REPORT** slot);
/// Null is allowed.
RF_PLATFORM_API void kprj_SpheroidFree(KPRJ_SPHEROID* spheroid);

/// A horizontal datum with its spheroid, a block of the host heap.
struct KPRJ_DATUM {
    char name[64]; ///< NUL-terminated
    char spheroidName[64];
};

/// @param name  of the datum as geographic systems carry it ("WGS 84").
/// @param spheroidName  the spheroid that the datum must have, as kprj_SpheroidByName takes it.
/// @return freed with kprj_DatumFree; null with a report when PROJ's database lacks the datum, the
///         datum has another spheroid, or memory is short.
RF_PLATFORM_API KPRJ_DATUM* kprj_DatumByName(std::string_view name, std::string_view spheroidName,
                                             KERR_REPORT** slot);
/// Null is allowed.
RF_PLATFORM_API void kprj_DatumFree(KPRJ_DATUM* datum);

/// Which projection; a block of the host heap.
struct KPRJ_PRO_PARAMETERS {
    char name[64]; ///< NUL-terminated
};

/// The name of all projections whose x is longitude and y latitude.
inline constexpr char kprjGeographicName[] = "Geographic (Lat/Lon)";

/// @param name  kprjGeographicName; other projections come as WKT.
/// @return freed with kprj_ProParametersFree; null with a report.
RF_PLATFORM_API KPRJ_PRO_PARAMETERS* kprj_ProParametersCreateByName(std::string_view name,
                                                                    KERR_REPORT** slot);
/// Null is allowed.
RF_PLATFORM_API void kprj_ProParametersFree(KPRJ_PRO_PARAMETERS* parameters);

/// A map projection with its datum. x is east or longitude and y north or latitude, as in the
/// georeferencing of images, whatever axis order the WKT names.
struct KPRJ_PROJECTION {
    std::string name;      ///< kprjGeographicName, or the system's name ("WGS 84 / UTM zone 33N")
    std::string units;     ///< "degrees", "meters", or the unit's name
    std::string datum;     ///< "World Geodetic System 1984"; empty when it has none
    std::string spheroid;  ///< "WGS 84"; empty when it has none
    std::string authority; ///< "EPSG:32633"; empty when it has none
    std::string wkt;       ///< WKT2:2019: the definition; all else follows from it
    double semiMajorAxis;  ///< m, 0 without a spheroid
    double semiMinorAxis;  ///< m, 0 without a spheroid
    double unitSize;       ///< a unit of x and y in m, or in rad when geographic
    bool isGeographic;
};

/// Makes the projection of the parameters with the datum. @return freed with kprj_ProjectionFree;
/// null with a report when an argument is null or the spheroid is not the datum's.
RF_PLATFORM_API KPRJ_PROJECTION* kprj_ProjectionInit(const KPRJ_PRO_PARAMETERS* parameters,
                                                     const KPRJ_SPHEROID* spheroid,
                                                     const KPRJ_DATUM* datum, KERR_REPORT** slot);
/// Makes a projection from WKT of any edition, "EPSG:32633" or a PROJ string. A vertical part is
/// ignored.
/// @return freed with kprj_ProjectionFree; null with a report when PROJ cannot read the text, or it
///         is no projected, geographic or local system.
RF_PLATFORM_API KPRJ_PROJECTION* kprj_ProjectionFromText(const std::string& text,
                                                         KERR_REPORT** slot);
/// Makes the projection of WGS 84 longitude and latitude in degrees (EPSG:4326), without PROJ's
/// database.
/// @return freed with kprj_ProjectionFree; null with a report when memory is short.
RF_PLATFORM_API KPRJ_PROJECTION* kprj_GeographicWgs84(KERR_REPORT** slot);
/// Null is allowed.
RF_PLATFORM_API void kprj_ProjectionFree(KPRJ_PROJECTION* projection);

struct KprjProjectionDeleter {
    void operator()(KPRJ_PROJECTION* projection) const { kprj_ProjectionFree(projection); }
};
using KprjProjectionPtr = std::unique_ptr<KPRJ_PROJECTION, KprjProjectionDeleter>;

struct KprjSpheroidDeleter {
    void operator()(KPRJ_SPHEROID* spheroid) const { kprj_SpheroidFree(spheroid); }
};
using KprjSpheroidPtr = std::unique_ptr<KPRJ_SPHEROID, KprjSpheroidDeleter>;

/// The self-describing form of a projection, nine texts: six for people and other software, then a
/// record of kmif (kmif/kmif.h) with the design "Projection":
///
///     projectionName  KPRJ_PROJECTION::name         designName  "Projection"
///     unitsName       ::units                       dictionary  that holds the design, as
///     datumName       ::datum, may be empty                     kmif_DictionaryEncodeToString
///     spheroidName    ::spheroid, may be empty      data        the record as kmif_NodeToJson:
///     authority       ::authority, may be empty                 semiMajorAxis, semiMinorAxis,
///     wkt             ::wkt, the definition                     unitSize, isGeographic (0 or 1)
///
/// The texts are UTF-16 blocks of the host heap that the caller frees.
/// @return false with a report when memory is short; all nine are null then.
RF_PLATFORM_API bool kprj_ProjectionConvertToMIF(const KPRJ_PROJECTION* projection,
                                                 char16_t** projectionName, char16_t** unitsName,
                                                 char16_t** datumName, char16_t** spheroidName,
                                                 char16_t** authority, char16_t** wkt,
                                                 char16_t** designName, char16_t** dictionary,
                                                 char16_t** data, KERR_REPORT** slot);

/// The nine texts as a host passes them back.
struct KprjMifTexts {
    std::u16string_view projectionName, unitsName, datumName, spheroidName, authority, wkt,
        designName, dictionary, data;
};

/// @return a projection equal member by member to the converted one; null with a report when a text
///         is damaged or two contradict each other.
RF_PLATFORM_API KPRJ_PROJECTION* kprj_ProjectionFromMIF(const KprjMifTexts& texts,
                                                        KERR_REPORT** slot);

/// Converts many points per call between a projection and WGS 84 longitude and latitude in degrees.
/// One thread at a time.
class RF_PLATFORM_API KprjGeographicConverter {
public:
    /// @return null with a report when the projection has no relation to the earth.
    static std::unique_ptr<KprjGeographicConverter> create(const KPRJ_PROJECTION& projection,
                                                           KERR_REPORT** slot);
    ~KprjGeographicConverter();
    KprjGeographicConverter(const KprjGeographicConverter&) = delete;
    KprjGeographicConverter& operator=(const KprjGeographicConverter&) = delete;

    /// Replaces x and y by longitude (-180..180) and latitude; points that have none become NaN.
    /// @param strideBytes  from one x to the next, and from one y to the next.
    void toGeographic(double* x, double* y, std::size_t strideBytes, std::size_t count) const;
    /// Replaces longitude and latitude by x and y; points that have none become NaN.
    void fromGeographic(double* x, double* y, std::size_t strideBytes, std::size_t count) const;

private:
    struct Session;
    explicit KprjGeographicConverter(std::unique_ptr<Session> session);
    void run(int direction, double* x, double* y, std::size_t strideBytes, std::size_t count) const;

    std::unique_ptr<Session> session_;
};
