// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <string>
#include <vector>

/// What every program that uses this machine's GDAL finds there: for diagnosis. This library opens
/// images with its own drivers only (gdal_session.h).
namespace kimg {

/// @return the version of the GDAL that is loaded, "3.6.2".
RF_PLATFORM_API std::string gdalVersion();

/// Registers all drivers as those programs do: with the plug-in folders' and without what GDAL_SKIP
/// names. Later calls change nothing.
/// @return why a driver could not be loaded; empty when all were.
RF_PLATFORM_API std::string registerInstalledDrivers();

/// @param shortName  as GDAL has it, "GTiff". @return whether it is registered now.
RF_PLATFORM_API bool hasDriver(const std::string& shortName);

/// @param fileName  without folders; decides together with the content.
/// @return the raster drivers that take such a file for theirs, in the order in which GDAL asks.
RF_PLATFORM_API std::vector<std::string> driversThatTake(const std::string& fileName,
                                                         const std::string& content);

} // namespace kimg
