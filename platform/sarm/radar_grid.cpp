// SPDX-License-Identifier: MIT
#include "sarm/radar_grid.h"

#include "sarm/model_area.h"

#include <algorithm>

namespace sarm {

bool samplesDecrease(const SarMetadataRecord& record) {
    if (record.rangeGeometry != 2 && hasHabit(record, sarmGroundRangeRises))
        return false;
    return record.pixelTimeOrdering == 1;
}

RadarGrid radarGrid(const SarMetadataRecord& record, double durationS) {
    RadarGrid grid;
    grid.numberOfLines = record.numberOfLines;
    grid.numberOfSamples = record.numberOfSamplesPerLine;
    const bool linesDecrease = record.lineTimeOrdering == 1;
    const bool wholeIntervals = hasHabit(record, sarmSpanOfWholeIntervals);
    const double interval = durationS / (record.numberOfLines - (wholeIntervals ? 0 : 1));
    grid.timeOfLine0S = (linesDecrease ? durationS : 0) - correctedLatenessS(record);
    grid.timePerLineS = linesDecrease ? -interval : interval;
    grid.rangeExtentM = (record.numberOfSamplesPerLine - 1) * record.sampledPixelSpacing;
    const bool decrease = samplesDecrease(record);
    grid.rangeOfSample0M = decrease ? grid.rangeExtentM : 0;
    grid.rangePerSampleM = decrease ? -record.sampledPixelSpacing : record.sampledPixelSpacing;
    if (record.rangeGeometry == 2) {
        grid.slantRange[0] = record.slantRangeNearEdge;
        grid.slantRange[1] = 1;
    } else {
        std::copy_n(record.groundToSlantRangeCoefficients, 6, grid.slantRange);
    }
    return grid;
}

double slantRangeAt(const RadarGrid& grid, double rangeM) {
    const double inside = std::clamp(rangeM, 0.0, grid.rangeExtentM);
    double value = grid.slantRange[5];
    for (int k = 4; k >= 0; --k)
        value = value * inside + grid.slantRange[k];
    return value + slantRangeSlopeAt(grid, inside) * (rangeM - inside);
}

double slantRangeSlopeAt(const RadarGrid& grid, double rangeM) {
    const double inside = std::clamp(rangeM, 0.0, grid.rangeExtentM);
    double slope = 5 * grid.slantRange[5];
    for (int k = 4; k >= 1; --k)
        slope = slope * inside + k * grid.slantRange[k];
    return slope;
}

} // namespace sarm
