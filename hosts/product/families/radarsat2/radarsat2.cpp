// SPDX-License-Identifier: MIT
#include "product/families/xml_product.h"

namespace product {
namespace {

using kfio::ProductTree;

constexpr char raster[] = "imageAttributes/rasterAttributes/";
constexpr char processing[] = "imageGenerationParameters/sarProcessingInformation/";
constexpr char radarParameters[] = "sourceAttributes/radarParameters";

/// RADARSAT-2: tables beside product.xml with one gain per column; noise levels in the document.
class Radarsat2Product final : public XmlProduct {
public:
    explicit Radarsat2Product(Document& document)
        : XmlProduct(
              document,
              {.image = "imageAttributes",
               .tableFolder = "",
               .tableName = "lookupTable",
               .tableKind = "<xmlattr>/incidenceAngleCorrection",
               .furtherNames = {},
               .items = {
                   {"BEAM_MODE", "sourceAttributes/beamModeMnemonic"},
                   {"FAR_RANGE_INCIDENCE_ANGLE",
                    "imageGenerationParameters/sarProcessingInformation/"
                    "incidenceAngleFarRange"},
                   {"GEODETIC_TERRAIN_HEIGHT",
                    "imageAttributes/geographicInformation/referenceEllipsoidParameters/"
                    "geodeticTerrainHeight"},
                   {"LINE_SPACING", "imageAttributes/rasterAttributes/sampledLineSpacing"},
                   {"NEAR_RANGE_INCIDENCE_ANGLE",
                    "imageGenerationParameters/sarProcessingInformation/"
                    "incidenceAngleNearRange"},
                   {"ORBIT_DATA_FILE",
                    "sourceAttributes/orbitAndAttitude/orbitInformation/orbitDataFile"},
                   {"PIXEL_SPACING", "imageAttributes/rasterAttributes/sampledPixelSpacing"},
                   {"SLANT_RANGE_NEAR_EDGE", "imageGenerationParameters/sarProcessingInformation/"
                                             "slantRangeNearEdge"},
               }}) {
        if (const ProductTree* parent = image())
            facts_.images = imagesOf(*parent, "fullResolutionImageData");
    }

    ImageClaims imageClaims() const override {
        ImageClaims claims;
        claims.width = parseSize(text(raster + std::string("numberOfSamplesPerLine")), file());
        claims.height = parseSize(text(raster + std::string("numberOfLines")), file());
        // The first one: the streams of an image are alike.
        if (const std::string bits = text(raster + std::string("bitsPerSample")); !bits.empty())
            claims.bits = static_cast<unsigned>(parseInteger(bits, file()));
        if (const std::string type = text(raster + std::string("dataType")); !type.empty())
            claims.isComplex = type == "Complex";
        return claims;
    }

    Acquisition acquisition() const override {
        Acquisition facts = XmlProduct::acquisition();
        facts.beamMode = text("sourceAttributes/beamModeMnemonic");
        facts.nearIncidenceDeg =
            numberOf(text(processing + std::string("incidenceAngleNearRange")));
        facts.farIncidenceDeg = numberOf(text(processing + std::string("incidenceAngleFarRange")));
        const std::string& type = facts_.productType;
        facts.geometry = type == "SLC"                    ? "slant"
                         : type == "SSG" || type == "SPG" ? "map"
                         : type.empty()                   ? ""
                                                          : "ground";
        return facts;
    }

    std::vector<NoiseTable> noiseTables() const override {
        const ProductTree* radar = elementAt(root(), radarParameters);
        if (radar && levelsFor(*radar, Radiometry::sigmaNought))
            return {{"", "", "", file()}};
        return {};
    }

private:
    ColumnProfile readNoise(const NoiseTable&, Radiometry kind, std::uint32_t) const override {
        const ProductTree* levels = levelsFor(*elementAt(root(), radarParameters), kind);
        return levels ? levelsOf(*levels, file()) : ColumnProfile();
    }
};

constexpr std::string_view places[] = {"product.xml"};

} // namespace

extern const Family radarsat2;
const Family radarsat2 = {
    .extension = ".xml",
    .places = places,
    .productsAmong = nullptr,
    .looksLike =
        [](std::string_view head) {
            return looksLikeProductXml(head, "http://www.rsi.ca/rs2/prod/xml/schemas");
        },
    .headBytes = 4096, // a root element's attributes
    .read = [](Document& document) -> std::unique_ptr<const StatedProduct> {
        if (lowerCase(textAt(document.tree, "product/sourceAttributes/satellite")) != "radarsat-2")
            return nullptr;
        return std::make_unique<Radarsat2Product>(document);
    },
};

} // namespace product
