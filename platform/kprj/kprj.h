#pragma once

#include "kerr/kerr.h"
#include "rf_platform_api.h"

#include <string_view>

/// Map projections, on PROJ. Texts are UTF-8. Any thread may call; objects belong to whoever made
/// them and are constant once made. Failures put a report into the slot, which may be null; no
/// exception leaves these calls, nothing is printed.

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
