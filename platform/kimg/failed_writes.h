// SPDX-License-Identifier: MIT
#pragma once

namespace kimg {

/// From here on, GDAL's errors tell of each write to a TIFF that failed. GDAL 3.13 leaves those of
/// its buffers to libtiff, which prints them and goes on: the file would pass for a whole one.
/// Nothing changes where GDAL listens to libtiff itself. For the whole process; any thread.
void hearFailedWrites();

} // namespace kimg
