#include "product/families/product_facts.h"

#include "kfnp/kfnp.h"

#include <algorithm>
#include <sstream>

namespace product {
namespace {

using kfio::ProductTree;

std::vector<std::string> splitAtBlanks(const std::string& text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

ImageFact imageFact(const ProductTree& element) {
    return {element.data(), element.get<std::string>("<xmlattr>.pole", "")};
}

/// Adds the texts of the children of that name.
void collect(const ProductTree& parent, std::string_view name, const std::string& folder,
             std::vector<std::string>& files) {
    for (const auto& [key, element] : parent)
        if (key == name)
            files.push_back(folder + element.data());
}

/// RADARSAT-2 keeps its tables beside product.xml, RCM in a folder of their own.
void listFiles(const ProductTree& product, ProductFacts& facts) {
    if (const auto image = product.get_child_optional("imageAttributes")) {
        collect(*image, "lookupTable", "", facts.tables);
        facts.samplesPerLine =
            image->get<std::int64_t>("rasterAttributes.numberOfSamplesPerLine", 0);
    }
    if (const auto reference = product.get_child_optional("imageReferenceAttributes")) {
        collect(*reference, "lookupTableFileName", "calibration/", facts.tables);
        for (const char* name : {"incidenceAngleFileName", "noiseLevelFileName"})
            collect(*reference, name, "calibration/", facts.furtherFiles);
        facts.samplesPerLine =
            product.get<std::int64_t>("sceneAttributes.imageAttributes.samplesPerLine", 0);
    }
}

/// RADARSAT-2 and RCM: one element a file, whose `pole` attribute is the truth.
ProductFacts factsOfXml(const ProductTree& product) {
    ProductFacts facts;
    facts.satellite = textAt(product, "sourceAttributes/satellite");
    facts.productType =
        textAt(product, "imageGenerationParameters/generalProcessingInformation/productType");
    facts.polarizations =
        splitAtBlanks(textAt(product, "sourceAttributes/radarParameters/polarizations"));
    for (const char* parent : {"imageAttributes", "sceneAttributes.imageAttributes"})
        if (const auto images = product.get_child_optional(parent))
            for (const auto& [key, element] : *images)
                if (key == "fullResolutionImageData" || key == "ipdf")
                    facts.images.push_back(imageFact(element));
    listFiles(product, facts);
    return facts;
}

ProductFacts factsOfItem(const ProductTree& item) {
    ProductFacts facts;
    facts.satellite = textAt(item, "properties/platform");
    facts.productType = textAt(item, "properties/sar:product_type");
    if (const auto poles =
            item.get_child_optional(ProductTree::path_type("properties/sar:polarizations", '/')))
        for (const auto& [key, pole] : *poles)
            facts.polarizations.push_back(pole.data());
    if (!facts.polarizations.empty()) {
        const std::string& last = facts.polarizations.back();
        facts.images.push_back({textAt(item, "assets/" + last + "/href"), last});
    }
    return facts;
}

ProductFacts factsOfExtended(const ProductTree& extended) {
    ProductFacts facts;
    facts.satellite = textAt(extended, "collect/platform");
    facts.productType = textAt(extended, "product_type");
    const std::string pole = textAt(extended, "collect/radar/transmit_polarization") +
                             textAt(extended, "collect/radar/receive_polarization");
    facts.polarizations = {pole};
    facts.images = {{"", pole}};
    return facts;
}

bool hasSarModelType(const ProductFacts& facts) {
    static constexpr const char* known[] = {"SLC", "SGF", "SGX", "SGC", "SCF", "SCS",
                                            "SCX", "GRD", "GRC", "SCD", "GEO", "GEC"};
    return facts.productType.empty() ||
           std::find(std::begin(known), std::end(known), facts.productType) != std::end(known);
}

/// Complex images whose layers are named as those of detected ones, and therefore not read.
bool hidesComplexImages(const ProductFacts& facts) {
    return facts.productType == "GRC" || facts.productType == "GCC";
}

} // namespace

ProductFacts readFacts(const ProductDocument& document) {
    if (document.kind != ProductDocument::Kind::capella)
        return factsOfXml(document.root);
    ProductFacts facts =
        document.root.empty() ? factsOfExtended(document.extended) : factsOfItem(document.root);
    for (ImageFact& image : facts.images)
        image.file = kfnp::lastComponent(image.file);
    return facts;
}

LayerName parseLayerName(const std::string& name) {
    LayerName parsed;
    const auto number = name.rfind('_');
    const auto kind = number == std::string::npos ? number : name.rfind('_', number - 1);
    const auto sensor = name.find('_');
    if (kind == std::string::npos || sensor == kind)
        return parsed;
    parsed.sensor = name.substr(0, sensor);
    parsed.pole = name.substr(sensor + 1, kind - sensor - 1);
    parsed.kind = name.substr(kind + 1, number - kind - 1);
    parsed.number = std::atoi(name.c_str() + number + 1);
    return parsed;
}

std::size_t imageOfLayer(const LayerName& name, bool complexProduct) {
    const int zeroBased = std::max(name.number - 1, 0);
    return static_cast<std::size_t>(complexProduct ? zeroBased / 2 : zeroBased);
}

std::vector<std::string> contradictions(const ProductFacts& facts,
                                        const std::vector<std::string>& layerNames) {
    std::vector<std::string> found;
    const bool complexProduct =
        std::any_of(layerNames.begin(), layerNames.end(),
                    [](const std::string& name) { return parseLayerName(name).isPhase(); });
    for (const std::string& text : layerNames) {
        const LayerName name = parseLayerName(text);
        const std::size_t image = imageOfLayer(name, complexProduct);
        if (image >= facts.images.size() || facts.images[image].pole.empty() ||
            facts.images[image].pole == name.pole)
            continue;
        found.push_back("layer " + text + " shows polarization " + facts.images[image].pole +
                        ", although its name says " + name.pole +
                        ": the product lists its images in another order than its polarizations");
    }
    if (hidesComplexImages(facts))
        found.push_back("product type " + facts.productType +
                        " has complex samples, which its layers, named as magnitudes, cannot show; "
                        "COMPLEX_HH and the like can");
    return found;
}

std::string modelRemark(const ProductFacts& facts) {
    return hasSarModelType(facts) ? ""
                                  : "product type " + facts.productType +
                                        " has no SAR model; georeferencing is the image's own";
}

} // namespace product
