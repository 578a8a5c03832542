// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "records/sar_metadata_record.h"
#include "rs2_product.h"

#include <cstdint>

/// Builds the SAR metadata record of a RADARSAT-2 product.
/// @param productTypeIndex  ProductTypeIndex; types without a number are detected images in ground
///        range. Not for the map-projected types.
/// @param slot  cleared first; receives a report on failure. Without a slot a report is printed.
/// @return a record that the caller releases with sarm_ReleaseMetadata; null with a report when
///         the file does not match the schema or states no size of an image. A record that the
///         library has no model for comes with a report and without an image window.
/// @throws std::bad_alloc
SarMetadataRecord* rs2_sarNodeRead(const rs2::Document& document, std::int32_t productTypeIndex,
                                   KERR_REPORT** slot);
