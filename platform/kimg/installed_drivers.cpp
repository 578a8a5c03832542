// SPDX-License-Identifier: MIT
#include "kimg/installed_drivers.h"

#include "kimg/gdal_session.h"

#include <cpl_vsi.h>
#include <gdal.h>

namespace kimg {

std::string gdalVersion() {
    return GDALVersionInfo("RELEASE_NAME");
}

std::string registerInstalledDrivers() {
    const ErrorCapture errors;
    GDALAllRegister();
    return errors.firstFailure();
}

bool hasDriver(const std::string& shortName) {
    return GDALGetDriverByName(shortName.c_str()) != nullptr;
}

std::vector<std::string> driversThatTake(const std::string& fileName, const std::string& content) {
    const ErrorCapture errors;
    const std::string name = "/vsimem/rf_sar_driver_choice/" + fileName;
    std::string bytes = content;
    VSIFCloseL(VSIFileFromMemBuffer(name.c_str(), reinterpret_cast<GByte*>(bytes.data()),
                                    bytes.size(), FALSE));
    std::vector<std::string> found;
    for (int i = 0; i < GDALGetDriverCount(); ++i) {
        const char* shortName = GDALGetDriverShortName(GDALGetDriver(i));
        const char* const only[] = {shortName, nullptr};
        if (GDALIdentifyDriverEx(name.c_str(), GDAL_OF_RASTER, only, nullptr))
            found.emplace_back(shortName);
    }
    VSIUnlink(name.c_str());
    return found;
}

} // namespace kimg
