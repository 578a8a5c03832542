// SPDX-License-Identifier: MIT
#pragma once

#include "records/sar_metadata_record.h"
#include "rf_platform_api.h"

#include <optional>

namespace sarm {

/// The times of a record after undoing how its fields are folded at midnight.
struct RecordTimes {
    double startS = 0;       ///< s of day of the earliest line; negative when midnight follows it
    double durationS = 0;    ///< from the earliest to the latest line time
    double firstVectorS = 0; ///< first state vector, s from the start of the image
    double vectorIntervalS = 0;
    bool repaired = false; ///< true when a field was reinterpreted
};

/// Unfolds the times. The record stores a first vector of the day before as 86400 - s, or adds a
/// day at New Year, and swaps first and last line when midnight is between them. Of the readings
/// +-s + whole days, it takes the one nearest to `noted`; without a note, the one whose arc leaves
/// least of the image uncovered, then the best centred. Without a note the choice is ambiguous for
/// an image that starts within one arc of midnight.
/// @param noted  true time of the first vector, s from the start of the image.
RF_PLATFORM_API RecordTimes unfoldTimes(const SarMetadataRecord& record,
                                        std::optional<double> noted);

} // namespace sarm
