#pragma once

#include "image_metadata.h"
#include "rf_sar.h"

#include <boost/thread/mutex.hpp>

/// The open-file handle. Made by identification with a mode, freed by rf_sarFileClose.
struct RF_SARFile {
    std::uint32_t formatIndex = 0;
    imageMetadata* reader = nullptr;             ///< owned
    SarMetadataRecord* sarMetadata = nullptr;    ///< owned; asked of the reader at most once
    boost::mutex lock;                           ///< guards sarMetadata
};
