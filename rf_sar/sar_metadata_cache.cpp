#include "sar_metadata_cache.h"

#include <boost/thread/locks.hpp>

const SarMetadataRecord* sarMetadataOf(RF_SARFile& file) {
    const boost::lock_guard<boost::mutex> asking(file.lock);
    if (!file.sarMetadata)
        file.sarMetadata = file.reader->readSARnode();
    return file.sarMetadata;
}
