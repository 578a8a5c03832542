// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <string>
#include <vector>

/// For diagnosis: the drivers that any program finds in this machine's GDAL. This library opens
/// images with its own list of drivers only (gdal_session.h).
namespace kimg {

/// @return the version of the loaded GDAL, "3.6.2".
RF_PLATFORM_API std::string gdalVersion();

/// Registers all drivers as other programs do: with those in plug-in folders and without those that
/// GDAL_SKIP names. Later calls change nothing.
/// @return why a driver could not be loaded; empty when all were.
RF_PLATFORM_API std::string registerInstalledDrivers();

/// @param shortName  as GDAL has it, "GTiff". @return whether it is registered now.
RF_PLATFORM_API bool hasDriver(const std::string& shortName);

/// @param fileName  without folders; drivers judge by name and content.
/// @return the raster drivers that identify such a file as theirs, in GDAL's order.
RF_PLATFORM_API std::vector<std::string> driversThatTake(const std::string& fileName,
                                                         const std::string& content);

} // namespace kimg
