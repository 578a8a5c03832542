// SPDX-License-Identifier: MIT
#pragma once

#include "records/sar_metadata_record.h"
#include "rf_platform_api.h"

namespace sarm {

/// Relation between file coordinates and radar coordinates (time, slant range):
/// time  = timeOfLine0S + line * timePerLineS, s from the start of the image;
/// range coordinate g = rangeOfSample0M + sample * rangePerSampleM, m from the near edge;
/// slant range = sum of slantRange[k] * g^k for g in 0..rangeExtentM, continued along the tangent
/// outside.
struct RadarGrid {
    int numberOfLines = 0, numberOfSamples = 0;
    double timeOfLine0S = 0, timePerLineS = 0;
    double rangeOfSample0M = 0, rangePerSampleM = 0;
    double rangeExtentM = 0;
    double slantRange[6] = {}; ///< in a slant-range image: near edge, 1, 0, 0, 0, 0
};

/// @param durationS  unfolded image duration (record_times.h).
RadarGrid radarGrid(const SarMetadataRecord& record, double durationS);

/// @return true when the first sample of a line is the far one.
bool samplesDecrease(const SarMetadataRecord& record);

/// @return slant range of a range coordinate, m.
RF_PLATFORM_API double slantRangeAt(const RadarGrid& grid, double rangeM);

/// @return d(slant range)/d(range coordinate); positive everywhere in a usable grid.
RF_PLATFORM_API double slantRangeSlopeAt(const RadarGrid& grid, double rangeM);

} // namespace sarm
