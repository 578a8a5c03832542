// SPDX-License-Identifier: MIT
#pragma once

#include "sarm/sarm.h"
#include "radartime/time_stamp.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

/// Helpers for the readers of all families to fill a record.
namespace record_parts {

/// @return a record of zeros with version and sensor code.
/// @throws std::bad_alloc
sarm::MetadataPtr make();

void setFirstLineDate(SarMetadataRecord& record, int year, int month, int day);

/// Kept: the times are put into rising order without a look at midnight between them.
/// (RecordParts.LineTimesAreOrdered)
void setLineTimes(SarMetadataRecord& record, double firstS, double lastS);

/// Constant term first. Coefficients beyond the record's six are dropped with a warning that names
/// the product.
void setGroundToSlantRange(SarMetadataRecord& record, const std::vector<double>& coefficients,
                           const std::string& productFile);

/// Sets the counts and makes the six arrays, which the record owns.
/// @throws std::bad_alloc; the record can still be released.
void allocateStateVectors(SarMetadataRecord& record, std::size_t count);
/// @param values  x, y, z in m, then their rates in m/s.
void setStateVector(SarMetadataRecord& record, std::size_t index,
                    const std::array<double, 6>& values);

/// Sets first time and interval. Reads the first-line date.
/// Kept: a first vector of the day before counts as 86400 s minus its time of day; days are told
/// apart by their number in the year, so that at New Year the day before counts as the day after;
/// and the interval is the plain difference, of 0 when one of the two is missing.
/// (RecordParts.StateVectorTimesAreFolded)
/// @param firstTwo  times of the first two vectors, or of as many as there are.
void setStateVectorTimes(SarMetadataRecord& record, const std::vector<TimeStamp>& firstTwo);

/// @return 1 "Hamming", 2 "Kaiser", 3 "Flat", 0 other; case counts.
std::int32_t windowType(std::string_view name);

/// Lets the SAR model library describe the orbit. A record without a model stays usable for
/// everything else; the reason is logged as a warning that names the product.
/// @return whether the record has a model.
bool describeModel(SarMetadataRecord& record, const std::string& productFile);

/// The window that covers the whole image.
void setImageWindow(SarMetadataRecord& record);

} // namespace record_parts
