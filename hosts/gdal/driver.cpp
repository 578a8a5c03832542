// SPDX-License-Identifier: MIT
#include "dataset.h"
#include "dataset_name.h"
#include "identify.h"
#include "map_view.h"
#include "product/find_product.h"

#include <gdal_priv.h>

namespace rf_sar_gdal {
namespace {

constexpr char openOptions[] =
    "<OpenOptionList>"
    "<Option name='LAYER' type='string' description='name of one layer, as a subdataset has it'/>"
    "<Option name='CALIBRATION' type='string-select' description='bands as power, linear or in dB'>"
    "<Value>NONE</Value><Value>SIGMA_NOUGHT</Value><Value>BETA_NOUGHT</Value>"
    "<Value>GAMMA</Value><Value>SIGMA_NOUGHT_DB</Value><Value>BETA_NOUGHT_DB</Value>"
    "<Value>GAMMA_DB</Value></Option>"
    "<Option name='DENOISE' type='boolean' default='NO' description='subtract the noise level that "
    "the product states from calibrated power'/>"
    "<Option name='GEOREF' type='string-select' default='AUTO' description='georeferencing'>"
    "<Value>AUTO</Value><Value>MODEL</Value><Value>RPC</Value><Value>GCP</Value>"
    "<Value>PRODUCT</Value><Value>MAP</Value></Option>"
    "<Option name='DEM' type='string' description='with GEOREF=MAP: an elevation model, or a "
    "folder of them'/>"
    "<Option name='DEM_HEIGHTS' type='string' default='AUTO' description='from what its heights "
    "count: AUTO (as the file says), ELLIPSOID, EGM96, EGM2008 or a file of geoid heights'/>"
    "</OpenOptionList>";

/// Removes the prefix for maps from the name of a layer.
/// @return whether there was one.
bool takeMap(OpenRequest& request) {
    const std::string marked = std::string(mapName) + "_";
    request.clearest = EQUAL(request.layer.c_str(), mapName);
    if (!request.clearest && !EQUALN(request.layer.c_str(), marked.c_str(), marked.size()))
        return false;
    request.layer.erase(0, marked.size());
    return true;
}

OpenRequest requestOf(const GDALOpenInfo& info) {
    OpenRequest request;
    request.description = info.pszFilename;
    DatasetName name{info.pszFilename, ""};
    if (isDatasetName(info.pszFilename))
        name = parseDatasetName(info.pszFilename);
    request.file = product::findProduct(name.file);
    request.layer = CSLFetchNameValueDef(info.papszOpenOptions, "LAYER", name.layer.c_str());
    request.denoised = CPLFetchBool(info.papszOpenOptions, "DENOISE", false);
    const char* calibration = CSLFetchNameValueDef(info.papszOpenOptions, "CALIBRATION", "NONE");
    if (!EQUAL(calibration, "NONE"))
        request.calibration = CPLString(calibration).toupper();
    const char* georef = CSLFetchNameValueDef(info.papszOpenOptions, "GEOREF", "");
    request.onTheMap = takeMap(request) || EQUAL(georef, "MAP");
    request.georef = parseGeorefChoice(EQUAL(georef, "MAP") ? "AUTO" : georef);
    if (const char* dem = CSLFetchNameValue(info.papszOpenOptions, "DEM"); dem && *dem)
        request.elevation.paths = {dem};
    request.elevation.heights = CSLFetchNameValueDef(info.papszOpenOptions, "DEM_HEIGHTS", "AUTO");
    for (const char* known : {"AUTO", "ELLIPSOID", "EGM96", "EGM2008"})
        if (EQUAL(known, request.elevation.heights.c_str()))
            request.elevation.heights = CPLString(known).tolower();
    if (!request.layer.empty() && !request.calibration.empty())
        throw loader::Error(request.file + ": LAYER and CALIBRATION exclude each other");
    if (!request.elevation.paths.empty() && !request.onTheMap)
        throw loader::Error(request.file + ": DEM is for GEOREF=MAP");
    return request;
}

int identifyCallback(GDALOpenInfo* info) {
    return identify(*info) ? TRUE : FALSE;
}

GDALDataset* open(GDALOpenInfo* info) {
    if (!identify(*info))
        return nullptr;
    if (info->eAccess == GA_Update) {
        CPLError(CE_Failure, CPLE_NotSupported, "%s: SAR products are opened for reading only",
                 info->pszFilename);
        return nullptr;
    }
    try {
        const OpenRequest request = requestOf(*info);
        auto opened = std::make_unique<SarDataset>(request);
        if (!request.onTheMap)
            return opened.release();
        return onTheMap(std::move(opened), request.elevation).release();
    } catch (const std::exception& error) {
        CPLError(CE_Failure, CPLE_OpenFailed, "%s", error.what());
        return nullptr;
    }
}

void registerDriver() {
    if (GDALGetDriverByName("RF_SAR"))
        return;
    auto* driver = new GDALDriver();
    driver->SetDescription("RF_SAR");
    driver->SetMetadataItem(GDAL_DCAP_RASTER, "YES");
    driver->SetMetadataItem(GDAL_DCAP_VIRTUALIO, "YES");
    driver->SetMetadataItem(GDAL_DMD_SUBDATASETS, "YES");
    driver->SetMetadataItem(GDAL_DMD_LONGNAME, "RADARSAT-2, RCM and Capella SAR products");
    driver->SetMetadataItem(GDAL_DMD_CONNECTION_PREFIX, connectionPrefix.data());
    driver->SetMetadataItem(GDAL_DMD_OPENOPTIONLIST, openOptions);
    driver->pfnIdentify = identifyCallback;
    driver->pfnOpen = open;
    GetGDALDriverManager()->RegisterDriver(driver);
}

} // namespace
} // namespace rf_sar_gdal

/// GDAL calls one of these after loading the library: the one with the library's name or the
/// general one.
extern "C" __attribute__((visibility("default"))) void GDALRegister_RF_SAR() {
    rf_sar_gdal::registerDriver();
}
extern "C" __attribute__((visibility("default"))) void GDALRegisterMe() {
    rf_sar_gdal::registerDriver();
}
