// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/shared_tree.h"
#include "records/sar_metadata_record.h"

#include <cstdint>
#include <string_view>

/// Builds the SAR metadata record of an RCM product.
/// @param document  the product's parsed `product.xml`, read during the call only.
/// @param productFile  its name; the incidence angles are found from it.
/// @param productTypeIndex  ProductTypeIndex.
/// @param incidenceAngles  receives the table of incidence angles; while it is held, others share
///        it.
/// @return a record that the caller releases with sarm_ReleaseMetadata, complete even when the
///         library has no model for it.
/// @throws boost::property_tree::ptree_error and other std::exceptions naming file and element.
/// Any thread.
SarMetadataRecord* rcm_sarNodeRead(const kfio::ProductTree& document,
                                   std::u16string_view productFile, std::int32_t productTypeIndex,
                                   std::shared_ptr<const kfio::ProductTree>& incidenceAngles);
