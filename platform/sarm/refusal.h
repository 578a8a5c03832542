// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

namespace sarm {

/// Why a record has no range-Doppler model.
enum class Refusal : int {
    none = 0,
    noStateVectors,
    badStateVectors,
    badTimes,
    noImageSize,
    noSlantRange,
    noPixelSpacing,
    noLineTiming,
    badRangePolynomial,
    noLookDirection,
    arcUnusable,
    noGroundIntersection,
    notRadarGrid,
    incidenceMismatch,
};

/// @return a sentence for the user, static storage, never null.
RF_PLATFORM_API const char* sentence(Refusal refusal);

} // namespace sarm
