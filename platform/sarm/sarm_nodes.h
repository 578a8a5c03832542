// SPDX-License-Identifier: MIT
#pragma once

#include "kmif/kmif_node.h"

/// The nodes through which SAR products pass their records to the host. Any thread may call.

/// Designs of the nodes ":SAR_Metadata" (rf_sar/records/sar_metadata_record.h) and ":Doppler"
/// (doppler_rate_record.h): one field per member of the record, in its order and under its name.
/// Each call makes a new design, which the caller frees with kmif_DesignDestroy.
/// @return null when memory is short.
RF_PLATFORM_API KmifDesign* sarm_GetSarMetadataKmifDesign();
RF_PLATFORM_API KmifDesign* sarm_GetDopplerRateKmifDesign();

/// Fills the host's node with a deep copy of the data and its design; nothing else is kept.
/// @param data  a structure that the design describes, read during the call only.
/// @param dictionary  receives a copy of the design; may be null.
/// @param a  the host's node, a KmifNode* that the host owns and passed to the plug-in.
/// @param b,c,d  the host's further arguments: reserved and ignored; a host passes null.
/// On failure (see kmif_NodeCreate; also when the dictionary has another design of the name) the
/// slot gets a report and the node stays as it was.
RF_PLATFORM_API void sarm_CreateMIFNode(const void* data, const KmifDesign* design,
                                        KmifDictionary* dictionary, void* a, void* b, void* c,
                                        void* d, KERR_REPORT** slot);
