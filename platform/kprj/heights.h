// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "rf_platform_api.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

/// From what heights count.
struct KprjHeightSystem {
    enum class Kind {
        unstated,
        ellipsoid, ///< above the ellipsoid of the horizontal system
        vertical,  ///< above the geoid, or whatever else the vertical system `name` says
    };
    Kind kind = Kind::unstated;
    std::string name;    ///< "EGM96 height"
    double unitSize = 1; ///< of a unit, m upwards; negative where numbers grow downwards
};

/// @param system  WKT or code of a compound, vertical or other system.
/// @return what it says of heights; unstated, with a report, when PROJ cannot read it.
RF_PLATFORM_API KprjHeightSystem kprj_HeightSystemOf(const std::string& system, KERR_REPORT** slot);

/// How far above the WGS 84 ellipsoid the zero of a vertical system lies: for heights above a
/// geoid, the geoid's undulation. On PROJ and its grids. One thread at a time.
class RF_PLATFORM_API KprjHeightZero {
public:
    /// @param system  compound or vertical, as WKT or as a code such as "EPSG:5773".
    /// @return null with a report that names the system when PROJ knows no way to the ellipsoid;
    ///         where a grid is missing it names the grid and where PROJ looks for it. Heights are
    ///         never passed through.
    static std::unique_ptr<KprjHeightZero> create(const std::string& system, KERR_REPORT** slot);
    ~KprjHeightZero();
    KprjHeightZero(const KprjHeightZero&) = delete;
    KprjHeightZero& operator=(const KprjHeightZero&) = delete;

    /// @param lonDeg,latDeg  of `count` places, degrees; one every `strideBytes`.
    /// @param heightsM  receives the height of the system's zero above the ellipsoid there, m; NaN
    ///        where the system or its grid does not reach.
    void heightsAt(const double* lonDeg, const double* latDeg, std::size_t strideBytes,
                   std::size_t count, double* heightsM) const;

private:
    struct Session;
    explicit KprjHeightZero(std::unique_ptr<Session> session);

    std::unique_ptr<Session> session_;
};

/// A geoid that users choose by name.
struct KprjGeoid {
    const char* option; ///< "egm96"
    const char* system; ///< "EPSG:5773"
    const char* name;   ///< "EGM96"
};

/// @return the geoids that have such a name, at hand or not.
RF_PLATFORM_API const std::vector<KprjGeoid>& kprj_Geoids();
