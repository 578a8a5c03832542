// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/gdal_errors.h"
#include "kimg/sample_type.h"

#include <stdexcept>
#include <string>

namespace kimg {

/// Registers the drivers that read images, once in the process: what a host gets that only reads.
/// Drivers that a host has registered are left as they are, here and below, and none is loaded from
/// plug-in folders.
void registerImageDrivers();

/// Registers all drivers that this library uses: those that write and read elevations as well.
void registerDrivers();

/// The names of the drivers that may open an image file, ended by null. Named one by one, so that
/// a driver which itself stands on this library is never asked.
const char* const* imageDrivers();

/// The names of the drivers that may open an elevation model, ended by null.
const char* const* elevationDrivers();

/// @return the GDALDataType of samples.
int gdalTypeOf(SampleType type);

/// @param system  an OGRSpatialReferenceH, may be null.
/// @return WKT2:2019; empty when there is none.
std::string wktOf(void* system);

using kfio::ErrorCapture;

/// A failure inside this library; its text is what the report says.
class ImageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace kimg
