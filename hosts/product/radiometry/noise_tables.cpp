#include "product/radiometry/noise_tables.h"

#include "loader/plugin.h"
#include "product/families/image_claims.h"
#include "product/families/product_facts.h"

#include <cmath>
#include <numeric>

namespace product {
namespace {

using kfio::ProductTree;

constexpr char sigmaNought[] = "Sigma Nought";

ColumnProfile checked(ColumnProfile profile, const ProductDocument& document, std::uint32_t width,
                      const std::string& file) {
    if (profile.values.empty() || profile.step == 0)
        throw loader::Error(file + ": holds no values, or none a column");
    requireStatedWidth(document, width, file);
    if (!profile.covers(width, std::abs(static_cast<double>(profile.step)) - 1))
        throw loader::Error(file + ": its values do not cover the " + std::to_string(width) +
                            " columns of the image");
    return profile;
}

ColumnProfile levels(const ProductTree& element, const std::string& file) {
    return {parseInteger(textAt(element, "pixelFirstNoiseValue"), file),
            parseInteger(textAt(element, "stepSize"), file),
            parseNumbers(textAt(element, "noiseLevelValues"), file)};
}

/// Capella: noise-equivalent sigma nought in dB as a polynomial of the slant range in m, constant
/// first. Columns of other images than those in the slant plane have no range of their own.
constexpr char polynomialPath[] = "collect/image/nesz_polynomial/coefficients";
constexpr char geometryPath[] = "collect/image/image_geometry/";
constexpr std::uint32_t polynomialStep =
    16; // columns; the levels bend by less than 1e-4 dB between

bool statesNoisePolynomial(const ProductDocument& document) {
    const auto found =
        document.extended.get_child_optional(ProductTree::path_type(polynomialPath, '/'));
    return found && !found->empty() &&
           textAt(document.extended, std::string(geometryPath) + "type") == "slant_plane";
}

double numberAt(const ProductDocument& document, const std::string& path) {
    const std::string text = textAt(document.extended, path);
    const auto numbers = parseNumbers(text, document.extendedFile);
    if (numbers.size() != 1)
        throw loader::Error(document.extendedFile + ": \"" + text + "\" is no number, in " + path);
    return numbers.front();
}

ColumnProfile noiseOfPolynomial(const ProductDocument& document, std::uint32_t width) {
    std::vector<double> coefficients;
    for (const auto& [key, element] :
         document.extended.get_child(ProductTree::path_type(polynomialPath, '/')))
        for (const double number : parseNumbers(element.data(), document.extendedFile))
            coefficients.push_back(number);
    const double nearM = numberAt(document, std::string(geometryPath) + "range_to_first_sample");
    const double stepM = numberAt(document, std::string(geometryPath) + "delta_range_sample");
    ColumnProfile profile{0, polynomialStep, {}};
    for (std::uint32_t column = 0; column < width - 1 + polynomialStep; column += polynomialStep) {
        const double rangeM = nearM + column * stepM;
        profile.values.push_back(
            std::accumulate(coefficients.rbegin(), coefficients.rend(), 0.0,
                            [&](double sum, double next) { return sum * rangeM + next; }));
    }
    return profile;
}

/// RADARSAT-2 names the kind in an attribute, RCM in an element.
bool isSigmaNought(const ProductTree& element) {
    return textAt(element, "<xmlattr>/incidenceAngleCorrection") == sigmaNought ||
           textAt(element, "sarCalibrationType") == sigmaNought;
}

const ProductTree* sigmaLevels(const ProductTree& parent) {
    for (const auto& [key, element] : parent)
        if (key == "referenceNoiseLevel" && isSigmaNought(element))
            return &element;
    return nullptr;
}

const ProductTree* radarParameters(const ProductDocument& document) {
    const auto found = document.root.get_child_optional("sourceAttributes.radarParameters");
    return found ? &*found : nullptr;
}

} // namespace

std::vector<NoiseTable> noiseTables(const ProductDocument& document) {
    std::vector<NoiseTable> tables;
    if (document.kind == ProductDocument::Kind::rcm) {
        if (const auto names = document.root.get_child_optional("imageReferenceAttributes"))
            for (const auto& [key, element] : *names)
                if (key == "noiseLevelFileName")
                    tables.push_back({textAt(element, "<xmlattr>/pole"),
                                      document.folder() + "calibration/" + element.data()});
    } else if (document.kind == ProductDocument::Kind::capella) {
        const auto images = readFacts(document).images;
        if (statesNoisePolynomial(document) && !images.empty())
            tables.push_back({images.front().pole, ""});
    } else if (const ProductTree* radar = radarParameters(document)) {
        if (sigmaLevels(*radar))
            tables.push_back({"", ""});
    }
    return tables;
}

ColumnProfile readNoise(const ProductDocument& document, const NoiseTable& table,
                        std::uint32_t width) {
    if (document.kind == ProductDocument::Kind::capella)
        return checked(noiseOfPolynomial(document, width), document, width, document.extendedFile);
    if (table.file.empty())
        return checked(levels(*sigmaLevels(*radarParameters(document)), document.file), document,
                       width, document.file);
    const ProductTree whole = readTable(document, table.file);
    if (const auto parent = whole.get_child_optional("noiseLevels"))
        if (const ProductTree* element = sigmaLevels(*parent))
            return checked(levels(*element, table.file), document, width, table.file);
    throw loader::Error(table.file + ": has no noise levels for sigma nought");
}

std::string incidenceFile(const ProductDocument& document) {
    const std::string name =
        textAt(document.root, "imageReferenceAttributes/incidenceAngleFileName");
    return name.empty() ? name : document.folder() + "calibration/" + name;
}

ColumnProfile readIncidence(const ProductDocument& document, std::uint32_t width) {
    const std::string file = incidenceFile(document);
    const ProductTree whole = readTable(document, file);
    ColumnProfile profile{
        parseInteger(textAt(whole, "incidenceAngles/pixelFirstAnglesValue"), file),
        parseInteger(textAt(whole, "incidenceAngles/stepSize"), file),
        {}};
    if (const auto parent = whole.get_child_optional("incidenceAngles"))
        for (const auto& [key, element] : *parent)
            if (key == "angles")
                for (const double angle : parseNumbers(element.data(), file))
                    profile.values.push_back(angle);
    return checked(std::move(profile), document, width, file);
}

} // namespace product
