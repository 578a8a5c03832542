// SPDX-License-Identifier: MIT
#include "doppler_centroid.h"

#include "kerr/kerr.h"
#include "sarm/sarm.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr std::int32_t spotlight = 2;
constexpr std::int32_t slantRangeComplex = 3;

double meanSpeed(const SarMetadataRecord& record) {
    const std::int32_t count = record.numberOfStateVectors;
    double sum = 0;
    for (std::int32_t i = 0; i < count; ++i)
        sum +=
            std::hypot(record.stateVectorXVelocity.values[i], record.stateVectorYVelocity.values[i],
                       record.stateVectorZVelocity.values[i]);
    return count > 0 ? sum / count : 0.0;
}

double slantRangeAtCentre(const SarMetadataRecord& record) {
    double sample = 0;
    double line = 0;
    const auto centreSample = record.numberOfSamplesPerLine / 2; // a whole pixel
    const auto centreLine = record.numberOfLines / 2;
    sarm_File2Model(centreSample, centreLine, &record, &sample, &line);
    return sample * record.sampledPixelSpacing + record.slantRangeNearEdge;
}

} // namespace

CentroidSelector::CentroidSelector(SarMetadataRecord& record, double firstLineS, double lastLineS)
    : record_(record), low_(firstLineS), high_(lastLineS) {
    if (low_ > high_ || record.lineTimeOrdering == 1)
        std::swap(low_, high_);
}

DopplerPolynomial* CentroidSelector::polynomialFor(double estimateS) {
    if (done_ || !(low_ <= estimateS && estimateS <= high_))
        return nullptr;
    if (record_.beamModeClass == spotlight)
        return &record_.dopplerCentroid[std::exchange(filledFirst_, true) ? 1 : 0];
    const double middle = (high_ - low_) * 0.5 + low_;
    done_ = std::abs(estimateS - middle) < 1.0;
    return done_ ? &record_.dopplerCentroid[0] : nullptr;
}

void fillCentroid(DopplerPolynomial& polynomial, double timeOfDayS, double referenceTimeS,
                  const std::vector<double>& coefficients, const std::string& productFile) {
    constexpr std::size_t room = std::size(DopplerPolynomial{}.coefficients);
    // Deviation: what the record has no room for is dropped instead of written past it.
    // (Doppler.ExtraCoefficientsAreDropped)
    if (coefficients.size() > room)
        TolvanLog::Write("fillCentroid", kerrWarning,
                         productFile + ": a Doppler centroid estimate has " +
                             std::to_string(coefficients.size()) + " coefficients; the first " +
                             std::to_string(room) + " are kept");
    polynomial = {};
    polynomial.referenceTime = referenceTimeS;
    const std::size_t count = std::min(coefficients.size(), room);
    std::copy_n(coefficients.begin(), count, polynomial.coefficients);
    polynomial.numberOfCoefficients = static_cast<std::int32_t>(count);
    polynomial.azimuthTime = timeOfDayS; // the library answers with the time it finds here
    polynomial.azimuthTime = sarm_GetAzimuthTime(polynomial);
}

/// Kept: all times are seconds of day as the record folds them, across midnight too.
/// (Doppler.SingleSpotlightEstimateIsSplit)
void splitSpotlightCentroid(SarMetadataRecord& record) {
    auto& [first, last] = record.dopplerCentroid;
    if (record.productGeometry != slantRangeComplex || record.beamModeClass != spotlight ||
        first.numberOfCoefficients == 0 || last.numberOfCoefficients != 0)
        return;
    last = first;
    const double estimateS = first.azimuthTime;
    const double slopePerS =
        2 * record.pulseRepetitionFrequency * meanSpeed(record) / slantRangeAtCentre(record);
    first.azimuthTime = record.firstLineTime;
    last.azimuthTime = record.lastLineTime;
    for (DopplerPolynomial* polynomial : {&first, &last})
        polynomial->coefficients[0] -= (polynomial->azimuthTime - estimateS) * slopePerS;
}
