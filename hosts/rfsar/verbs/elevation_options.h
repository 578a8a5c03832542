// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/elevation.h"

#include <CLI/CLI.hpp>

/// The options that name an elevation model: --dem and --dem-heights.
inline void addElevation(CLI::App& verb, kimg::ElevationSource& source) {
    verb.add_option("--dem", source.paths,
                    "elevation model: GeoTIFF, VRT, SRTM, DTED or ASCII grid in any coordinate "
                    "system, or a folder of them; may be repeated")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    verb.add_option("--dem-heights", source.heights,
                    "reference of its heights: auto (as the file states), ellipsoid, egm96, "
                    "egm2008, or a FILE of geoid heights")
        ->capture_default_str();
}
