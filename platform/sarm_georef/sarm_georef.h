// SPDX-License-Identifier: MIT
#pragma once

#include "kprj/kprj.h"
#include "kxfr/kxfr.h"
#include "records/sar_metadata_record.h"

/// Georeferencing of an image by its SAR metadata record. Any thread, no exceptions.

/// @param reserved  0.
/// @return the transform between WGS 84 longitude and latitude in degrees and the pixels of the
///         image file, freed with kxfr_XFormFree; null with a report that says why when the record
///         is null or has no range-Doppler model.
RF_PLATFORM_API KxfrXForm* sarm_CalibrateGetXform(int reserved, const SarMetadataRecord* record,
                                                  KERR_REPORT** slot);

/// @param name,units  receive the projection's name and its units, "Geographic (Lat/Lon)" and
///        "degrees", as host-heap texts that the caller frees; each may be null.
/// @return the projection of the transform's map, freed with kprj_ProjectionFree. Null without a
///         report for a null transform; null with one when memory is short or PROJ's database
///         cannot be read. The texts are null then.
RF_PLATFORM_API KPRJ_PROJECTION* sarm_CalibrateGetMapProjection(const KxfrXForm* transform,
                                                                char16_t** name, char16_t** units,
                                                                KERR_REPORT** slot);
