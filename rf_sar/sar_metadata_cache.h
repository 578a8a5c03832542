#pragma once

#include "rf_sar_file.h"

/// The file's SAR metadata record, asked of the reader by the first caller and kept in the handle.
/// A reader that has none is asked again by the next caller. Any thread, under the file's lock.
/// @return the record, which the handle owns until it is closed; null when the reader has none.
const SarMetadataRecord* sarMetadataOf(RF_SARFile& file);
