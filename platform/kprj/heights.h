// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "rf_platform_api.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

/// The reference surface and unit of heights.
struct KprjHeightSystem {
    enum class Kind {
        unstated,
        ellipsoid, ///< above the ellipsoid of the horizontal system
        vertical,  ///< above the surface of the vertical system `name`, such as a geoid
    };
    Kind kind = Kind::unstated;
    std::string name;    ///< "EGM96 height"
    double unitSize = 1; ///< of a unit, m upwards; negative where numbers grow downwards
};

/// @param system  WKT or code of a compound, vertical or other system.
/// @return its height system; `unstated`, with a report, when PROJ cannot read the text.
RF_PLATFORM_API KprjHeightSystem kprj_HeightSystemOf(const std::string& system, KERR_REPORT** slot);

/// Computes the height of a vertical system's zero surface above the WGS 84 ellipsoid (for a geoid,
/// its undulation), with PROJ and its grids. One thread at a time.
class RF_PLATFORM_API KprjHeightZero {
public:
    /// @param system  compound or vertical, as WKT or as a code such as "EPSG:5773".
    /// @return null with a report that names the system when PROJ cannot convert it to the
    ///         ellipsoid. If a grid is missing, the report names the grid and the folders that PROJ
    ///         searches. Heights are never used unconverted.
    static std::unique_ptr<KprjHeightZero> create(const std::string& system, KERR_REPORT** slot);
    ~KprjHeightZero();
    KprjHeightZero(const KprjHeightZero&) = delete;
    KprjHeightZero& operator=(const KprjHeightZero&) = delete;

    /// @param lonDeg,latDeg  of `count` places, degrees, `strideBytes` apart.
    /// @param heightsM  receives the height of the zero surface above the ellipsoid, m; NaN outside
    ///        the system or its grid.
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

/// @return all geoids with an option name, installed or not.
RF_PLATFORM_API const std::vector<KprjGeoid>& kprj_Geoids();
