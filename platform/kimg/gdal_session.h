// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/gdal_errors.h"
#include "kimg/sample_type.h"

#include <stdexcept>
#include <string>

namespace kimg {

/// Registers the drivers that read images, once per process; enough for hosts that only read. Here
/// and below, drivers that a host has registered stay as they are, and none is loaded from plug-in
/// folders.
void registerImageDrivers();

/// Registers all drivers that this library uses, also those that write and those for elevation
/// models.
void registerDrivers();

/// The names of the drivers that may open an image file, ended by null. The explicit list keeps
/// GDAL from asking a driver that is built on this library.
const char* const* imageDrivers();

/// The names of the drivers that may open an elevation model, ended by null.
const char* const* elevationDrivers();

/// @return the GDALDataType of samples.
int gdalTypeOf(SampleType type);

/// @param system  an OGRSpatialReferenceH, may be null.
/// @return WKT2:2019; empty when there is none.
std::string wktOf(void* system);

using kfio::ErrorCapture;

/// A failure inside this library; its text becomes the report's message.
class ImageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace kimg
