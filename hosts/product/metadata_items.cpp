#include "product/metadata_items.h"

#include "product/radiometry/calibration.h"

#include <filesystem>

namespace product {
namespace {

/// Where each family states a fact; null where it does not. Capella paths lead into the extended
/// document, those that begin with "properties" or "id" into the item.
struct Item {
    const char* key;
    const char* radarsat2;
    const char* rcm;
    const char* capella;
};

constexpr char acquisition[] = "sourceAttributes/radarParameters/acquisitionType";
constexpr char source[] = "sourceAttributes/orbitAndAttitude/orbitInformation/orbitDataSource";
constexpr char pass[] = "sourceAttributes/orbitAndAttitude/orbitInformation/passDirection";
constexpr char facility[] =
    "imageGenerationParameters/generalProcessingInformation/processingFacility";
constexpr char processed[] =
    "imageGenerationParameters/generalProcessingInformation/processingTime";
constexpr char type[] = "imageGenerationParameters/generalProcessingInformation/productType";
constexpr char firstLine[] =
    "imageGenerationParameters/sarProcessingInformation/zeroDopplerTimeFirstLine";
constexpr char lastLine[] =
    "imageGenerationParameters/sarProcessingInformation/zeroDopplerTimeLastLine";

constexpr Item items[] = {
    {"ACQUISITION_START_TIME", "sourceAttributes/rawDataStartTime",
     "sourceAttributes/rawDataStartTime", "collect/start_timestamp"},
    {"ACQUISITION_TYPE", acquisition, acquisition, nullptr},
    {"ANTENNA_POINTING", "sourceAttributes/radarParameters/antennaPointing",
     "sourceAttributes/radarParameters/antennaPointing", "collect/radar/pointing"},
    {"BEAM_MODE", "sourceAttributes/beamModeMnemonic", "sourceAttributes/beamMode", "collect/mode"},
    {"BEAM_MODE_MNEMONIC", "sourceAttributes/beamModeMnemonic", "sourceAttributes/beamModeMnemonic",
     nullptr},
    {"BEAM_MODE_DEFINITION_ID", nullptr, "sourceAttributes/beamModeDefinitionId", nullptr},
    {"CENTER_INCIDENCE_ANGLE", nullptr, nullptr, "collect/image/center_pixel/incidence_angle"},
    {"FACILITY_IDENTIFIER", "sourceAttributes/inputDatasetFacilityId",
     "sourceAttributes/inputDatasetFacilityId", nullptr},
    {"FAR_RANGE_INCIDENCE_ANGLE",
     "imageGenerationParameters/sarProcessingInformation/incidenceAngleFarRange",
     "sceneAttributes/imageAttributes/incAngFarRng", nullptr},
    {"FIRST_LINE_TIME", firstLine, firstLine, "collect/image/image_geometry/first_line_time"},
    {"LAST_LINE_TIME", lastLine, lastLine, nullptr},
    {"LINE_SPACING", "imageAttributes/rasterAttributes/sampledLineSpacing",
     "imageReferenceAttributes/rasterAttributes/sampledLineSpacing",
     "collect/image/pixel_spacing_row"},
    {"NEAR_RANGE_INCIDENCE_ANGLE",
     "imageGenerationParameters/sarProcessingInformation/incidenceAngleNearRange",
     "sceneAttributes/imageAttributes/incAngNearRng", nullptr},
    {"ORBIT_DATA_FILE", "sourceAttributes/orbitAndAttitude/orbitInformation/orbitDataFile",
     "sourceAttributes/orbitAndAttitude/orbitInformation/orbitDataFileName", nullptr},
    {"ORBIT_DATA_SOURCE", source, source, "collect/state/source"},
    {"ORBIT_DIRECTION", pass, pass, "collect/state/direction"},
    {"PIXEL_SPACING", "imageAttributes/rasterAttributes/sampledPixelSpacing",
     "imageReferenceAttributes/rasterAttributes/sampledPixelSpacing",
     "collect/image/pixel_spacing_column"},
    {"POLARIZATIONS", "sourceAttributes/radarParameters/polarizations",
     "sourceAttributes/radarParameters/polarizations", nullptr},
    {"PROCESSING_FACILITY", facility, facility, "processing_deployment"},
    {"PROCESSING_TIME", processed, processed, "processing_time"},
    {"PRODUCT_ID", "productId", "productId", "collect/collect_id"},
    {"PRODUCT_TYPE", type, type, "product_type"},
    {"SATELLITE_IDENTIFIER", "sourceAttributes/satellite", "sourceAttributes/satellite",
     "collect/platform"},
    {"SENSOR_IDENTIFIER", "sourceAttributes/sensor", "sourceAttributes/sensor", nullptr},
    {"SLANT_RANGE_NEAR_EDGE",
     "imageGenerationParameters/sarProcessingInformation/slantRangeNearEdge",
     "sceneAttributes/imageAttributes/slantRangeNearEdge",
     "collect/image/image_geometry/range_to_first_sample"},
};

/// What the item states, for products without, or beside, the extended document.
constexpr std::pair<const char*, const char*> capellaItems[] = {
    {"ACQUISITION_START_TIME", "properties/start_datetime"},
    {"ANTENNA_POINTING", "properties/sar:observation_direction"},
    {"BEAM_MODE", "properties/sar:instrument_mode"},
    {"CENTER_INCIDENCE_ANGLE", "properties/view:incidence_angle"},
    {"LINE_SPACING", "properties/sar:pixel_spacing_azimuth"},
    {"ORBIT_DIRECTION", "properties/sat:orbit_state"},
    {"PIXEL_SPACING", "properties/sar:pixel_spacing_range"},
    {"PRODUCT_TYPE", "properties/sar:product_type"},
    {"SATELLITE_IDENTIFIER", "properties/platform"},
};

std::string itemText(const ProductDocument& document, const Item& item) {
    switch (document.kind) {
    case ProductDocument::Kind::radarsat2:
        return item.radarsat2 ? textAt(document.root, item.radarsat2) : "";
    case ProductDocument::Kind::rcm:
        return item.rcm ? textAt(document.root, item.rcm) : "";
    default:
        break;
    }
    std::string text = item.capella ? textAt(document.extended, item.capella) : "";
    for (const auto& [key, path] : capellaItems)
        if (text.empty() && std::string_view(key) == item.key)
            text = textAt(document.root, path);
    return text == "null" ? "" : text;
}

const char* tableKey(Radiometry kind) {
    switch (kind) {
    case Radiometry::sigmaNought:
        return "SIGMA_NOUGHT_LUT";
    case Radiometry::betaNought:
        return "BETA_NOUGHT_LUT";
    default:
        return "GAMMA_LUT";
    }
}

} // namespace

std::vector<std::pair<std::string, std::string>> metadataItems(const ProductDocument& document) {
    std::vector<std::pair<std::string, std::string>> found;
    for (const Item& item : items)
        if (std::string text = itemText(document, item); !text.empty())
            found.emplace_back(item.key, std::move(text));
    if (document.kind == ProductDocument::Kind::capella)
        found.emplace_back("SENSOR_IDENTIFIER", "SAR");
    for (const CalibrationTable& table : calibrationTables(document))
        if (!table.file.empty()) {
            std::string key = tableKey(table.kind);
            if (!table.pole.empty())
                key += "_" + table.pole;
            found.emplace_back(std::move(key), std::filesystem::path(table.file).filename());
        }
    return found;
}

} // namespace product
