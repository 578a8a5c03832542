#include "product/calibration.h"

#include "kfnp/kfnp.h"
#include "loader/plugin.h"

#include <algorithm>
#include <charconv>

namespace product {
namespace {

using kfio::ProductTree;

std::optional<Radiometry> radiometryOf(const std::string& text) {
    for (const auto& [name, kind] : {std::pair{"Sigma Nought", Radiometry::sigmaNought},
                                     {"Beta Nought", Radiometry::betaNought},
                                     {"Gamma", Radiometry::gamma},
                                     {"sigma_nought", Radiometry::sigmaNought},
                                     {"beta_nought", Radiometry::betaNought},
                                     {"gamma_nought", Radiometry::gamma},
                                     {"sigma", Radiometry::sigmaNought},
                                     {"beta", Radiometry::betaNought},
                                     {"gamma", Radiometry::gamma}})
        if (text == name)
            return kind;
    return std::nullopt;
}

/// The elements of tables look alike in both documents; names, kinds' attribute and folder differ.
std::vector<CalibrationTable> tablesOfXml(const ProductDocument& document) {
    const bool rcm = document.kind == ProductDocument::Kind::rcm;
    const char* parent = rcm ? "imageReferenceAttributes" : "imageAttributes";
    const char* key = rcm ? "lookupTableFileName" : "lookupTable";
    const char* kindPath =
        rcm ? "<xmlattr>.sarCalibrationType" : "<xmlattr>.incidenceAngleCorrection";
    std::vector<CalibrationTable> tables;
    if (const auto elements = document.root.get_child_optional(parent))
        for (const auto& [name, element] : *elements) {
            if (name != key)
                continue;
            if (const auto kind = radiometryOf(element.get<std::string>(kindPath, "")))
                tables.push_back(
                    {*kind, element.get<std::string>("<xmlattr>.pole", ""),
                     document.folder() + (rcm ? "calibration/" : "") + element.data()});
        }
    return tables;
}

/// Capella: samples times the scale factor are the amplitude of what `radiometry` names.
std::vector<CalibrationTable> tablesOfCapella(const ProductDocument& document) {
    const auto kind = radiometryOf(textAt(document.extended, "collect/image/radiometry"));
    if (!kind || textAt(document.extended, "collect/image/scale_factor").empty())
        return {};
    return {{*kind, "", ""}};
}

Calibration capellaScale(const ProductDocument& document, std::uint32_t width) {
    const std::string text = textAt(document.extended, "collect/image/scale_factor");
    const auto scale = parseNumbers(text, document.extendedFile);
    if (scale.size() != 1 || !(scale[0] > 0))
        throw loader::Error(document.extendedFile + ": \"" + text + "\" is no scale factor");
    return {0, std::vector<double>(width, 1 / (scale[0] * scale[0]))};
}

struct Lut {
    double offset = 0;
    ColumnProfile gains;
};

/// A list without places starts at the first column.
Lut readLut(const std::string& file) {
    try {
        const ProductTree document = kfio::readXmlTree(file);
        const ProductTree& lut = document.get_child("lut");
        Lut read;
        const auto offsets = parseNumbers(lut.get<std::string>("offset", "0"), file);
        read.offset = offsets.empty() ? 0 : offsets.front();
        read.gains = {parseInteger(lut.get<std::string>("pixelFirstLutValue", "0"), file),
                      parseInteger(lut.get<std::string>("stepSize", "1"), file),
                      parseNumbers(lut.get<std::string>("gains"), file)};
        const auto count = lut.get_optional<std::string>("numberOfValues");
        if (count &&
            parseInteger(*count, file) != static_cast<std::int64_t>(read.gains.values.size()))
            throw loader::Error(file + ": announces " + *count + " gains but holds " +
                                std::to_string(read.gains.values.size()));
        return read;
    } catch (const boost::property_tree::ptree_error& error) {
        throw loader::Error(file + ": " + error.what());
    }
}

} // namespace

std::vector<CalibrationTable> calibrationTables(const ProductDocument& document) {
    return document.kind == ProductDocument::Kind::capella ? tablesOfCapella(document)
                                                           : tablesOfXml(document);
}

Calibration readCalibration(const ProductDocument& document, const CalibrationTable& table,
                            std::uint32_t width, bool complexSamples) {
    if (table.file.empty())
        return capellaScale(document, width);
    if (kfnp::classifyReference(table.file.substr(document.folder().size())) !=
        kfnp::Reference::inside)
        throw loader::Error(table.file + ": leaves the product's folder and is refused");
    const Lut lut = readLut(table.file);
    if (lut.gains.step == 0 || !lut.gains.covers(width))
        throw loader::Error(table.file + ": its gains do not cover the " + std::to_string(width) +
                            " columns of the image");
    Calibration calibration{complexSamples ? 0 : lut.offset, lut.gains.expand(width)};
    if (!std::all_of(calibration.divisors.begin(), calibration.divisors.end(),
                     [](double gain) { return gain > 0; }))
        throw loader::Error(table.file + ": holds a gain that is not above 0");
    if (complexSamples)
        for (double& divisor : calibration.divisors)
            divisor *= divisor;
    return calibration;
}

} // namespace product
