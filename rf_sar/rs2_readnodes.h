// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "records/sar_metadata_record.h"
#include "rs2_product.h"

#include <cstdint>

/// Builds the SAR metadata record of a RADARSAT-2 product.
/// @param productTypeIndex  ProductTypeIndex, not a map-projected type; unknown types are taken as
///        detected images in ground range.
/// @param slot  cleared first; receives a report on failure. If it is null, a report is printed.
/// @return a record that the caller releases with sarm_ReleaseMetadata; null with a report when the
///         file does not match the schema or states no valid image size. If the library has no
///         model for the record, there is a report and the record has no image window.
/// @throws std::bad_alloc
SarMetadataRecord* rs2_sarNodeRead(const rs2::Document& document, std::int32_t productTypeIndex,
                                   KERR_REPORT** slot);
