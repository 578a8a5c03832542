// SPDX-License-Identifier: MIT
#pragma once

namespace kimg {

/// From now on, each failed write to a TIFF is a GDAL error. GDAL 3.13 leaves failed writes of its
/// buffers to libtiff, which prints them and goes on, so that the file would pass as complete.
/// Changes nothing where GDAL handles libtiff's errors itself. For the whole process; any thread
/// may call it.
void hearFailedWrites();

} // namespace kimg
