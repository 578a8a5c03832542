#include "sarm/radar_grid.h"

#include "sarm/model_area.h"

#include <algorithm>

namespace sarm {

namespace {

/// Records have no sensor field; X band (3.1 cm) tells Capella from the C-band satellites (5.5 cm).
bool isXBand(const SarMetadataRecord& record) {
    return record.wavelength > 0 && record.wavelength < 0.04;
}

/// C-band products state the times of the first and last line, N - 1 intervals apart; the X-band
/// reader stores first + N intervals.
double lineInterval(const SarMetadataRecord& record, double durationS) {
    return durationS / (isXBand(record) ? record.numberOfLines : record.numberOfLines - 1);
}

} // namespace

bool samplesDecrease(const SarMetadataRecord& record) {
    // X-band ground-range products run near to far, though their record says decreasing: its
    // reader judges by a slant spacing that such products do not state.
    const bool misjudged = isXBand(record) && record.rangeGeometry != 2;
    return record.pixelTimeOrdering == 1 && !misjudged;
}

RadarGrid radarGrid(const SarMetadataRecord& record, double durationS) {
    RadarGrid grid;
    grid.numberOfLines = record.numberOfLines;
    grid.numberOfSamples = record.numberOfSamplesPerLine;
    const bool linesDecrease = record.lineTimeOrdering == 1;
    const double interval = lineInterval(record, durationS);
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
