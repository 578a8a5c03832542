#include "product/radiometry/calibration.h"

#include "kmif/kmif_node.h"
#include "product/families/image_claims.h"
#include "records/calibration_lut_record.h"

#include <algorithm>
#include <tuple>

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
    if (const auto elements = document.root.get_child_optional(parent)) {
        std::size_t place = 0;
        for (const auto& [name, element] : *elements) {
            if (name != key)
                continue;
            ++place;
            if (const auto kind = radiometryOf(element.get<std::string>(kindPath, "")))
                tables.push_back({*kind, element.get<std::string>("<xmlattr>.pole", ""),
                                  document.folder() + (rcm ? "calibration/" : "") + element.data(),
                                  place - 1});
        }
    }
    return tables;
}

/// Capella: samples times the scale factor are the amplitude of what `radiometry` names.
std::vector<CalibrationTable> tablesOfCapella(const ProductDocument& document) {
    const auto kind = radiometryOf(textAt(document.extended, "collect/image/radiometry"));
    if (!kind || textAt(document.extended, "collect/image/scale_factor").empty())
        return {};
    return {{*kind, "", "", 0}};
}

Calibration capellaScale(const ProductDocument& document, std::uint32_t width) {
    const std::string text = textAt(document.extended, "collect/image/scale_factor");
    const auto scale = parseNumbers(text, document.extendedFile);
    if (scale.size() != 1 || !(scale[0] > 0))
        throw loader::Error(document.extendedFile + ": \"" + text + "\" is no scale factor");
    return {0, ColumnProfile{0, 1, {1 / (scale[0] * scale[0])}}.expand(width)};
}

struct Lut {
    double offset = 0;
    ColumnProfile gains;
};

/// RADARSAT-2: one gain a column. The plug-in calls the tables beta, sigma and gamma by their
/// place in the product, whatever they are; the product tells what they are.
Lut readNode(const loader::Product& opened, const CalibrationTable& table) {
    constexpr std::size_t places = 3;
    if (table.place >= places) // before the product is bound again for it
        throw loader::Error(table.file + ": is not read: the record holds three tables");
    std::string remarks;
    KmifNode node;
    try {
        node = opened.node(":Rs2_Calibration", remarks);
    } catch (const loader::Error& error) {
        throw loader::Error(table.file + ": cannot be read: " + error.what());
    }
    const auto& record = *static_cast<const CalibrationLutRecord*>(node.data());
    const std::tuple<double, std::int32_t, const double*> tables[places] = {
        {record.betaOffset, record.betaCount, record.betaGains},
        {record.sigmaOffset, record.sigmaCount, record.sigmaGains},
        {record.gammaOffset, record.gammaCount, record.gammaGains}};
    if (!std::get<2>(tables[table.place]))
        throw loader::Error(table.file + ": cannot be read: " + remarks);
    const auto& [offset, count, gains] = tables[table.place];
    return {offset, {0, 1, {gains, gains + count}}};
}

/// RCM: gains from a column on, in steps.
Lut readFile(const ProductDocument& product, const CalibrationTable& table) {
    const std::string& file = table.file;
    const ProductTree document = readTable(product, file);
    try {
        const ProductTree& lut = document.get_child("lut");
        Lut read;
        const auto offsets = parseNumbers(lut.get<std::string>("offset", "0"), file);
        read.offset = offsets.empty() ? 0 : offsets.front();
        read.gains = {parseInteger(lut.get<std::string>("pixelFirstLutValue"), file),
                      parseInteger(lut.get<std::string>("stepSize"), file),
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

Calibration readCalibration(const loader::Product& opened, const ProductDocument& document,
                            const CalibrationTable& table, std::uint32_t width,
                            bool complexSamples) {
    if (document.kind == ProductDocument::Kind::capella)
        return capellaScale(document, width);
    requireStatedWidth(document, width, table.file);
    const Lut lut = document.kind == ProductDocument::Kind::radarsat2 ? readNode(opened, table)
                                                                      : readFile(document, table);
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
