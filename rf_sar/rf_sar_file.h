// SPDX-License-Identifier: MIT
#pragma once

#include "image_metadata.h"
#include "rf_sar.h"

#include <boost/thread/mutex.hpp>

/// The open-file handle. Made by identification with a mode, freed by rf_sarFileClose.
struct RF_SARFile {
    std::uint32_t formatIndex = 0;
    imageMetadata* reader = nullptr;             ///< owned
    SarMetadataRecord* sarMetadata = nullptr;    ///< owned; read at most once
    boost::mutex lock;                           ///< guards sarMetadata and the reader's slots
};

/// @return the product's record, read once and kept by the file; null when the reader has none:
///         then the next call asks the reader again. Any thread.
SarMetadataRecord* sarMetadataOf(RF_SARFile& file);
