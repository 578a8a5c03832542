// SPDX-License-Identifier: MIT
#pragma once

/// Every fixed text that the plug-in reports, grouped by the function that reports it. Hosts match
/// on them: they are never reworded, typing slips included.
namespace messages {

// rf_sarFileTitleIdentifyAndOpen
constexpr char creationNotSupported[] =
    "RF_SAR File creation not supported thru RasterFormats interface";
constexpr char readerAllocationFailed[] = "Failed to allocate memory";
constexpr char fileAllocationFailed[] = "Failed to create the sarfile memory";

// rf_sarLayerOpen, rf_sarLayerRasterRead
constexpr char layerOpenFailed[] = "kimg_LayerOpen failed";
constexpr char baseDataCreateFailed[] = "kgda_BaseDataCreate failed";
constexpr char rasterReadFailed[] = "kimg_LayerRasterPixelRectGet failed";

// rf_sarLayerMapInfoRead, rf_sarLayerMapProjectionRead, rf_sarLayerMapToPixelTransformRead
constexpr char noMemory[] = "No memory";
constexpr char projectionReadFailed[] = "kimg_LayerMapProjectionRead failed";
constexpr char projectionToMifFailed[] = "kprj_ProjectionConvertToMIF failed";

// capellaImageMetadata
constexpr char fileNotFound[] = "Could not fine and open the file";
constexpr char jsonNotParsed[] = "Failed to find parse JSON data";
constexpr char noExtendedMetadata[] = "Could not find appropriate json metatdata file";
constexpr char noProductType[] = "No sar:product_type in JSON file";
constexpr char noPolarizations[] = "No sar:productpolarizations in JSON file";
constexpr char noImageFile[] = "Could not find appropriate tif file";

// rf_sarFileDataRead
constexpr char dictionaryFailed[] = "dictionary create failed";
constexpr char nodeFailed[] = "Creating MIF Node failed.";

// rs2_sarNodeRead, rs2_getCalibration, getDopplerRates
constexpr char schemaMismatch[] = "XML does not match RS2 schema: "; // and the binding's sentence
constexpr char ephemerisFailed[] = "sarm_sarModelEphemeris failed";
constexpr char wrongBetaTable[] = "Wrong lutBeta XML schema file detected";
constexpr char wrongSigmaTable[] = "Wrong lutSigma XML schema file detected";
constexpr char wrongGammaTable[] = "Wrong lutGamma XML schema file detected";

} // namespace messages
