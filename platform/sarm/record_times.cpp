// SPDX-License-Identifier: MIT
#include "sarm/record_times.h"

#include "rf_constants.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace sarm {

namespace {

constexpr double dayS = constants::secondsPerDay;

/// @return the penalties of a reading of the first vector's time, compared in order: its distance
///         from the noted time, or the uncovered part of the image; then how far the arc is off the
///         centre.
std::pair<double, double> fault(double firstVectorS, double arcS, double durationS,
                                std::optional<double> noted) {
    const double misplaced = std::abs(firstVectorS + arcS / 2 - durationS / 2);
    if (noted)
        return {std::abs(firstVectorS - *noted), misplaced};
    const double uncovered =
        std::max(0.0, firstVectorS) + std::max(0.0, durationS - firstVectorS - arcS);
    return {uncovered, misplaced};
}

} // namespace

RecordTimes unfoldTimes(const SarMetadataRecord& record, std::optional<double> noted) {
    RecordTimes times;
    times.startS = record.firstLineTime;
    times.durationS = record.lastLineTime - record.firstLineTime;
    if (times.durationS > dayS / 2) {
        times.startS = record.lastLineTime - dayS;
        times.durationS = dayS - times.durationS;
        times.repaired = true;
    }
    times.vectorIntervalS = record.stateVectorInterval;
    const bool several = record.numberOfStateVectors > 1;
    if (several && times.vectorIntervalS <= 0 && times.vectorIntervalS > -dayS) {
        times.vectorIntervalS += dayS;
        times.repaired = true;
    }
    const double arcS = several ? times.vectorIntervalS * (record.numberOfStateVectors - 1) : 0;
    const double stored = record.stateVectorFirstTime;
    times.firstVectorS = stored - times.startS;
    for (int day = -2; day <= 2; ++day)
        for (const double reading : {stored, -stored}) {
            const double candidate = reading + day * dayS - times.startS;
            if (fault(candidate, arcS, times.durationS, noted) <
                fault(times.firstVectorS, arcS, times.durationS, noted))
                times.firstVectorS = candidate;
        }
    times.repaired |= times.firstVectorS != stored - times.startS;
    return times;
}

} // namespace sarm
