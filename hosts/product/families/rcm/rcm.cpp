// SPDX-License-Identifier: MIT
#include "kfio/kfio.h"
#include "kfnp/kfnp.h"
#include "product/families/rcm/rcm_bursts.h"
#include "product/families/xml_product.h"
#include "product/radiometry/table_limits.h"

#include <algorithm>

namespace product {
namespace {

using kfio::ProductTree;

constexpr char scene[] = "sceneAttributes/imageAttributes";
constexpr char raster[] = "imageReferenceAttributes/rasterAttributes/";

constexpr char multilook[] = "MLC";

/// Erases the element of that name and text.
void eraseElement(std::string& document, const std::string& name, const std::string& text) {
    const std::string end = '>' + text + "</" + name + '>';
    const auto behind = document.find(end);
    const auto begin = document.rfind('<' + name, behind);
    if (behind != std::string::npos && begin != std::string::npos)
        document.erase(begin, behind + end.size() - begin);
}

/// RADARSAT Constellation: product.xml and a folder of tables in "metadata", images in "imagery".
class RcmProduct final : public XmlProduct {
public:
    explicit RcmProduct(Document& document)
        : XmlProduct(
              document,
              {.image = "imageReferenceAttributes",
               .tableFolder = "calibration/",
               .tableName = "lookupTableFileName",
               .tableKind = "<xmlattr>/sarCalibrationType",
               .furtherNames = {"incidenceAngleFileName", "noiseLevelFileName"},
               .items = {
                   {"BEAM_MODE", "sourceAttributes/beamMode"},
                   {"BEAM_MODE_DEFINITION_ID", "sourceAttributes/beamModeDefinitionId"},
                   {"FAR_RANGE_INCIDENCE_ANGLE", "sceneAttributes/imageAttributes/incAngFarRng"},
                   {"LINE_SPACING", "imageReferenceAttributes/rasterAttributes/sampledLineSpacing"},
                   {"NEAR_RANGE_INCIDENCE_ANGLE", "sceneAttributes/imageAttributes/incAngNearRng"},
                   {"ORBIT_DATA_FILE",
                    "sourceAttributes/orbitAndAttitude/orbitInformation/orbitDataFileName"},
                   {"PIXEL_SPACING",
                    "imageReferenceAttributes/rasterAttributes/sampledPixelSpacing"},
                   {"SLANT_RANGE_NEAR_EDGE", "sceneAttributes/imageAttributes/slantRangeNearEdge"},
                   // further items, with the names of GDAL's own driver
                   {"BEAMS", "sourceAttributes/radarParameters/beams"},
                   {"BITS_PER_SAMPLE", "imageReferenceAttributes/rasterAttributes/bitsPerSample"},
                   {"DATA_TYPE", "imageReferenceAttributes/rasterAttributes/dataType"},
                   {"GEODETIC_TERRAIN_HEIGHT",
                    "imageReferenceAttributes/geographicInformation/ellipsoidParameters/"
                    "geodeticTerrainHeight"},
                   {"LINE_TIME_ORDERING",
                    "imageReferenceAttributes/rasterAttributes/lineTimeOrdering"},
                   {"LUT_APPLIED", "imageGenerationParameters/sarProcessingInformation/lutApplied"},
                   {"MAP_PROJECTION_DESCRIPTOR",
                    "imageReferenceAttributes/geographicInformation/mapProjection/"
                    "mapProjectionDescriptor"},
                   {"MAP_PROJECTION_ORIENTATION",
                    "imageReferenceAttributes/geographicInformation/mapProjection/"
                    "mapProjectionOrientation"},
                   {"RESAMPLING_KERNEL",
                    "imageReferenceAttributes/geographicInformation/mapProjection/"
                    "resamplingKernel"},
                   {"SATELLITE_HEADING",
                    "imageReferenceAttributes/geographicInformation/mapProjection/"
                    "satelliteHeading"},
                   {"PER_POLARIZATION_SCALING",
                    "imageGenerationParameters/sarProcessingInformation/perPolarizationScaling"},
                   {"PIXEL_TIME_ORDERING",
                    "imageReferenceAttributes/rasterAttributes/pixelTimeOrdering"},
                   {"POLARIZATION_DATA_MODE", "sourceAttributes/polarizationDataMode"},
                   {"SAMPLED_LINE_SPACING_TIME",
                    "imageReferenceAttributes/rasterAttributes/sampledLineSpacingTime"},
                   {"SAMPLED_PIXEL_SPACING_TIME",
                    "imageReferenceAttributes/rasterAttributes/sampledPixelSpacingTime"},
                   {"SAMPLE_TYPE", "imageReferenceAttributes/rasterAttributes/sampleType"},
                   {"SATELLITE_HEIGHT",
                    "imageGenerationParameters/sarProcessingInformation/satelliteHeight"},
                   {"SECURITY_CLASSIFICATION", "securityAttributes/securityClassification"},
                   {"SLANT_RANGE_FAR_EDGE", "sceneAttributes/imageAttributes/slantRangeFarEdge"},
               }}) {
        if (const ProductTree* parent = elementAt(root(), scene))
            facts_.images = imagesOf(*parent, "ipdf");
        const std::string& type = facts_.productType;
        facts_.namedAsDetected = type == "GRC" || type == "GCC";
        const auto& poles = facts_.polarizations;
        for (StatedImage& each : facts_.images)
            each.isCrossProduct = type == multilook && !each.pole.empty() &&
                                  std::find(poles.begin(), poles.end(), each.pole) == poles.end();
    }

    /// The plug-in needs as many images as polarizations. Multilook complex products have one more
    /// for each product of two polarizations; their grid is that of single-look products.
    std::vector<StandInFile> standIn() const override {
        if (facts_.productType != multilook)
            return {};
        std::string document = wholeText();
        for (const StatedImage& each : facts_.images)
            if (each.isCrossProduct)
                eraseElement(document, "ipdf", each.name);
        const std::string type = std::string(multilook) + "</productType>";
        if (const auto at = document.find(type); at != std::string::npos)
            document.replace(at, type.size(), "SLC</productType>");
        std::vector<StandInFile> files = {{kfnp::lastComponent(file()), std::move(document)}};
        if (const std::string angles = incidenceFile();
            !angles.empty() && isOwnFile(file(), angles) && kfio::fileState(angles).isRegularFile)
            files.push_back({angles.substr(folder().size()), kfio::readXmlText(angles)});
        return files;
    }

    ImageClaims imageClaims() const override {
        const std::string image = std::string(scene) + "/";
        ImageClaims claims;
        claims.width = parseSize(text(image + "samplesPerLine"), file());
        claims.height = parseSize(text(image + "numLines"), file());
        if (const std::string bits = text(raster + std::string("bitsPerSample")); !bits.empty())
            claims.bits = static_cast<unsigned>(parseInteger(bits, file()));
        if (const std::string type = text(image + "<xmlattr>/sampleType"); !type.empty())
            claims.isComplex = type == "Complex";
        if (const std::string type = text(raster + std::string("dataType")); !type.empty())
            claims.isFloating = type == "Floating-Point";
        return claims;
    }

    Acquisition acquisition() const override {
        Acquisition facts = XmlProduct::acquisition();
        facts.beamMode = text("sourceAttributes/beamMode");
        facts.nearIncidenceDeg = numberOf(text(scene + std::string("/incAngNearRng")));
        facts.farIncidenceDeg = numberOf(text(scene + std::string("/incAngFarRng")));
        const std::string& type = facts_.productType;
        facts.geometry = type == "SLC" || type == "MLC"   ? "slant"
                         : type == "GRD" || type == "GRC" ? "ground"
                         : type == "GCD" || type == "GCC" ? "map"
                                                          : "";
        return facts;
    }

    std::vector<NoiseTable> noiseTables() const override {
        std::vector<NoiseTable> tables;
        if (const ProductTree* names = image())
            for (const auto& [key, element] : *names)
                if (key == "noiseLevelFileName") {
                    const std::string name = tableFile(element.data());
                    tables.push_back({textAt(element, "<xmlattr>/pole"),
                                      textAt(element, "<xmlattr>/beam"), name, name});
                }
        return tables;
    }

    std::string incidenceFile() const override {
        const std::string name = text("imageReferenceAttributes/incidenceAngleFileName");
        return name.empty() ? name : tableFile(name);
    }

private:
    std::vector<StatedBurst> readBursts() const override {
        return rcmBursts(root(), file(),
                         [this](const ProductTree& parent) { return imagesOf(parent, "ipdf"); });
    }

    ColumnProfile readNoise(const NoiseTable& table, Radiometry kind,
                            std::uint32_t) const override {
        const auto document = readTable(file(), table.file);
        const ProductTree& whole = *document;
        const ProductTree* parent = elementAt(whole, "noiseLevels");
        const ProductTree* levels = parent ? levelsFor(*parent, kind) : nullptr;
        if (!levels && kind == Radiometry::sigmaNought)
            throw loader::Error(table.file + ": has no noise levels for sigma nought");
        return levels ? levelsOf(*levels, table.file) : ColumnProfile();
    }

    ColumnProfile readIncidence() const override {
        const std::string name = incidenceFile();
        incidenceAngles_ = readTable(file(), name);
        const ProductTree& whole = *incidenceAngles_;
        ColumnProfile profile{
            parseInteger(textAt(whole, "incidenceAngles/pixelFirstAnglesValue"), name),
            parseInteger(textAt(whole, "incidenceAngles/stepSize"), name),
            {}};
        if (const ProductTree* parent = elementAt(whole, "incidenceAngles"))
            for (const auto& [key, element] : *parent)
                if (key == "angles")
                    for (const double angle : parseNumbers(leafAt(element, "", name), name))
                        profile.values.push_back(angle);
        requireWithin(incidenceLimits, profile, name, "incidenceAngles/angles");
        if (const std::string announced = textAt(whole, "incidenceAngles/numberOfValues");
            !announced.empty())
            requireCount(parseInteger(announced, name), profile.values.size(), name, "angles");
        return profile;
    }

    mutable std::shared_ptr<const ProductTree> incidenceAngles_; ///< the plug-in's record needs it
};

constexpr std::string_view places[] = {"metadata/product.xml", "product.xml"};

} // namespace

extern const Family rcm;
const Family rcm = {
    .extension = ".xml",
    .places = places,
    .productsAmong = nullptr,
    .looksLike =
        [](std::string_view head) { return looksLikeProductXml(head, "rcmGsProductSchema"); },
    .headBytes = 4096, // a root element's attributes
    .read = [](Document& document) -> std::unique_ptr<const StatedProduct> {
        return std::make_unique<RcmProduct>(document);
    },
};

} // namespace product
