// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "records/sar_metadata_record.h"
#include "rf_platform_api.h"

#include <cstdint>
#include <memory>

/// The SAR model library's functions for readers and hosts. A record must not be null, except where
/// the function says so. Image positions count from 0 at the centre of the first pixel;
/// docs/coordinates.md defines the other frames. The library keeps no reference to a record. Calls
/// on different records may run at the same time.

/// @return the time of day (s) that the reader put into the copy's azimuthTime before the call.
RF_PLATFORM_API double sarm_GetAzimuthTime(DopplerPolynomial polynomial);

/// Tells the library the true time of the first state vector; the record's own fields fold it at
/// midnight in a way that cannot always be undone. Call it before sarm_ModelEphemeris. The value is
/// only used to choose among the possible readings of the stored time.
/// @param firstVectorMinusFirstLineS  time of the first state vector minus the earlier of the
///        times of first and last line, s; negative when the vector is earlier.
RF_PLATFORM_API void sarm_NoteTimes(SarMetadataRecord* record, double firstVectorMinusFirstLineS);

/// Differences in how families of products fill the record, where the fields do not show them.
enum SarmHabit : std::uint32_t {
    sarmSpanOfWholeIntervals =
        1, ///< lastLineTime - firstLineTime is numberOfLines line intervals; else one less
    sarmGroundRangeRises =
        2, ///< ground-range samples run from near to far, whatever pixelTimeOrdering says
    sarmIncidenceIsEdgeMean = 4, ///< incidenceAngleCentre is the mean of the angles at near and far
                                 ///< edge; else the angle at the centre
};

/// Tells the library how the record was filled. Call it before sarm_ModelEphemeris.
/// @param habits  a sum of SarmHabit; it replaces the habits set before.
RF_PLATFORM_API void sarm_NoteHabits(SarMetadataRecord* record, std::uint32_t habits);

/// Tells the library that the record's line times are a quarter of the pulse interval (0.25 /
/// pulseRepetitionFrequency) later than zero Doppler, as in RCM strips (docs/coordinates.md). The
/// record keeps the stated times; the model uses the earlier ones.
/// @param corrected  false: the model uses the stated times nevertheless.
RF_PLATFORM_API void sarm_NoteLateLineTimes(SarMetadataRecord* record, bool corrected);

/// Tells the library the height of the scene, for products that state one although their record has
/// none (geodeticTerrainHeight is 0). The record's field does not change.
/// @param heightM  above the ellipsoid.
RF_PLATFORM_API void sarm_NoteSceneHeight(SarMetadataRecord* record, double heightM);

/// Checks the record and describes its orbit model in the model area (sarm/model_area.h); no other
/// field changes. May be called again at any time, with equal results for equal fields.
/// @param slot  receives a report when the record has no range-Doppler model; the record stays
///        usable for everything else. May be null.
RF_PLATFORM_API void sarm_ModelEphemeris(SarMetadataRecord* record, KERR_REPORT** slot);

/// Converts a file position to a model position: modelX counts samples from the near edge, modelY
/// lines from the earliest one. So in a slant-range image the slant range is modelX *
/// sampledPixelSpacing + slantRangeNearEdge.
RF_PLATFORM_API void sarm_File2Model(double fileX, double fileY, const SarMetadataRecord* record,
                                     double* modelX, double* modelY);

/// Frees a record and its six state-vector arrays, all of the host heap; null is allowed.
RF_PLATFORM_API void sarm_ReleaseMetadata(SarMetadataRecord* record);

namespace sarm {

struct MetadataDeleter {
    void operator()(SarMetadataRecord* record) const { sarm_ReleaseMetadata(record); }
};
/// Owns one record with its arrays; `release()` hands it to the caller.
using MetadataPtr = std::unique_ptr<SarMetadataRecord, MetadataDeleter>;

} // namespace sarm
