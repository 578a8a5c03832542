// SPDX-License-Identifier: MIT
#include "record_parts.h"

#include "kerr/kerr.h"
#include "kmsc/kmsc.h"
#include "rf_constants.h"

#include <algorithm>
#include <new>
#include <utility>

namespace record_parts {

namespace {

using constants::secondsPerDay;

std::array<StateVectorComponent*, 6> components(SarMetadataRecord& record) {
    return {&record.stateVectorXPosition, &record.stateVectorYPosition,
            &record.stateVectorZPosition, &record.stateVectorXVelocity,
            &record.stateVectorYVelocity, &record.stateVectorZVelocity};
}

double foldedTime(const TimeStamp& time, int firstLineDayOfYear) {
    if (time.dayOfYear() < firstLineDayOfYear)
        return secondsPerDay - time.secondsOfDay();
    if (time.dayOfYear() > firstLineDayOfYear)
        return time.secondsOfDay() + secondsPerDay;
    return time.secondsOfDay();
}

} // namespace

sarm::MetadataPtr make() {
    sarm::MetadataPtr record(kmsc::makeArray<SarMetadataRecord>(1).release());
    if (!record)
        throw std::bad_alloc();
    record->recordVersion = 0;
    record->sensorCode[0] = 'F';
    return record;
}

void setFirstLineDate(SarMetadataRecord& record, int year, int month, int day) {
    record.firstLineYear = year;
    record.firstLineMonth = month;
    record.firstLineDay = day;
    record.firstLineDayOfYear = dayOfYear(year, month, day);
}

void setLineTimes(SarMetadataRecord& record, double firstS, double lastS) {
    std::tie(record.firstLineTime, record.lastLineTime) = std::minmax(firstS, lastS);
    record.imageDuration = record.lastLineTime - record.firstLineTime;
}

void setGroundToSlantRange(SarMetadataRecord& record, const std::vector<double>& coefficients,
                           const std::string& productFile) {
    constexpr std::size_t room = std::size(SarMetadataRecord{}.groundToSlantRangeCoefficients);
    // Deviation: what the record has no room for is dropped instead of written past it.
    // (RecordParts.ExtraRangeCoefficientsAreDropped)
    if (coefficients.size() > room)
        TolvanLog::Write("setGroundToSlantRange", kerrWarning,
                         productFile + ": the ground-to-slant-range polynomial has " +
                             std::to_string(coefficients.size()) + " coefficients; " +
                             std::to_string(room) + " are kept");
    std::copy_n(coefficients.begin(), std::min(coefficients.size(), room),
                record.groundToSlantRangeCoefficients);
}

void allocateStateVectors(SarMetadataRecord& record, std::size_t count) {
    record.numberOfStateVectors = static_cast<std::int32_t>(count);
    for (StateVectorComponent* component : components(record)) {
        component->values = kmsc::makeArray<double>(count).release();
        if (!component->values)
            throw std::bad_alloc();
        component->count = record.numberOfStateVectors;
    }
}

void setStateVector(SarMetadataRecord& record, std::size_t index,
                    const std::array<double, 6>& values) {
    const auto all = components(record);
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i]->values[index] = values[i];
}

void setStateVectorTimes(SarMetadataRecord& record, const std::vector<TimeStamp>& firstTwo) {
    double times[2] = {0, 0};
    for (std::size_t i = 0; i < std::min<std::size_t>(firstTwo.size(), 2); ++i)
        times[i] = firstTwo[i].secondsOfDay();
    record.stateVectorFirstTime =
        firstTwo.empty() ? 0.0 : foldedTime(firstTwo[0], record.firstLineDayOfYear);
    record.stateVectorFirstTime2 = record.stateVectorFirstTime;
    record.stateVectorInterval = times[1] - times[0];
    record.stateVectorInterval2 = record.stateVectorInterval;
}

std::int32_t windowType(std::string_view name) {
    constexpr std::string_view names[] = {"Hamming", "Kaiser", "Flat"};
    const auto* found = std::find(std::begin(names), std::end(names), name);
    return found == std::end(names) ? 0 : static_cast<std::int32_t>(found - names) + 1;
}

bool describeModel(SarMetadataRecord& record, const std::string& productFile) {
    record.ephemerisStatus = 0;
    kerr::Slot refused;
    sarm_ModelEphemeris(&record, refused);
    if (!refused)
        return true;
    TolvanLog::Write("sarm_ModelEphemeris", kerrWarning,
                     productFile + ": no SAR model: " + refused.get()->message);
    return false;
}

void setImageWindow(SarMetadataRecord& record) {
    record.imageWindowValid = 1;
    record.firstSample = 0;
    record.lastSample = record.numberOfSamplesPerLine - 1;
    record.sampleStep = 1;
    record.sampleCount = record.numberOfSamplesPerLine;
    record.firstLine = 0;
    record.lastLine = record.numberOfLines - 1;
    record.lineStep = 1;
    record.lineCount = record.numberOfLines;
}

} // namespace record_parts
