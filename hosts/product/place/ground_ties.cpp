#include "product/place/ground_ties.h"

#include "loader/plugin.h"
#include "product/radiometry/column_profile.h"

namespace product {
namespace {

using kfio::ProductTree;

/// RADARSAT-2 and RCM differ in the element around it.
const ProductTree* geographicInformation(const ProductDocument& document) {
    for (const char* path : {"imageAttributes.geographicInformation",
                             "imageReferenceAttributes.geographicInformation"})
        if (const auto found = document.root.get_child_optional(path))
            return &*found;
    return nullptr;
}

double numberAt(const ProductTree& tree, const char* path, const std::string& file) {
    const auto numbers = parseNumbers(textAt(tree, path), file);
    if (numbers.size() != 1)
        throw loader::Error(file + ": a tie point lacks " + path);
    return numbers.front();
}

constexpr std::pair<const char*, const char*> rpcNames[] = {
    {"ERR_BIAS", "biasError"},
    {"ERR_RAND", "randomError"},
    {"LINE_OFF", "lineOffset"},
    {"SAMP_OFF", "pixelOffset"},
    {"LAT_OFF", "latitudeOffset"},
    {"LONG_OFF", "longitudeOffset"},
    {"HEIGHT_OFF", "heightOffset"},
    {"LINE_SCALE", "lineScale"},
    {"SAMP_SCALE", "pixelScale"},
    {"LAT_SCALE", "latitudeScale"},
    {"LONG_SCALE", "longitudeScale"},
    {"HEIGHT_SCALE", "heightScale"},
    {"LINE_NUM_COEFF", "lineNumeratorCoefficients"},
    {"LINE_DEN_COEFF", "lineDenominatorCoefficients"},
    {"SAMP_NUM_COEFF", "pixelNumeratorCoefficients"},
    {"SAMP_DEN_COEFF", "pixelDenominatorCoefficients"},
};

} // namespace

std::vector<TiePoint> tiePoints(const ProductDocument& document) {
    const ProductTree* geographic = geographicInformation(document);
    const auto grid = geographic ? geographic->get_child_optional("geolocationGrid") : boost::none;
    std::vector<TiePoint> ties;
    if (!grid)
        return ties;
    for (const auto& [key, element] : *grid)
        if (key == "imageTiePoint")
            ties.push_back({numberAt(element, "imageCoordinate/line", document.file),
                            numberAt(element, "imageCoordinate/pixel", document.file),
                            numberAt(element, "geodeticCoordinate/latitude", document.file),
                            numberAt(element, "geodeticCoordinate/longitude", document.file),
                            numberAt(element, "geodeticCoordinate/height", document.file)});
    return ties;
}

std::vector<std::pair<std::string, std::string>> ownRpc(const ProductDocument& document) {
    const ProductTree* geographic = geographicInformation(document);
    if (!geographic || geographic->count("rationalFunctions") == 0)
        return {};
    std::vector<std::pair<std::string, std::string>> rpc;
    for (const auto& [name, element] : rpcNames) {
        std::string text = textAt(*geographic, std::string("rationalFunctions/") + element);
        if (text.empty())
            return {};
        rpc.emplace_back(name, std::move(text));
    }
    return rpc;
}

} // namespace product
