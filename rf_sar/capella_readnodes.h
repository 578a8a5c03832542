// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "records/sar_metadata_record.h"

#include <cstdint>
#include <string_view>

/// Builds the SAR metadata record of a Capella product from its extended metadata: the file that
/// the item's "assets.metadata.href" names, else the one beside the item. The item itself need not
/// exist.
/// @param productFile  the item's name.
/// @param formatIndex  0 GEO, 1 SLC, 4 GRD (FormatIndex).
/// @return a record that the caller releases with sarm_ReleaseMetadata, complete even when the
///         library has no model for it; null with a report that names file and element. Never
///         throws. Any thread.
SarMetadataRecord* capella_sarNodeRead(std::u16string_view productFile, std::int32_t formatIndex,
                                       KERR_REPORT** slot);
