// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/tiff_writer.h"

namespace kimg {

/// Fills the overviews of a band in decibels: each pixel is the mean power of the four below it, in
/// decibels. NaN does not count.
/// @param band  a raster band of GDAL, floating point, with overviews each half of the one before.
/// @return false when GDAL failed, which it reported, or keepGoing ended it.
bool fillDecibelOverviews(void* band, const KeepGoing& keepGoing);

} // namespace kimg
