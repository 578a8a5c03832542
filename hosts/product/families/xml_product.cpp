// SPDX-License-Identifier: MIT
#include "product/families/xml_product.h"

#include "product/radiometry/table_limits.h"

#include "kfnp/kfnp.h"
#include "product/families/heads.h"

#include <algorithm>
#include <filesystem>

namespace product {
namespace {

using kfio::ProductTree;

constexpr char tiePoint[] = "imageTiePoint";
constexpr char geographic[] = "/geographicInformation";
constexpr char processing[] = "imageGenerationParameters/sarProcessingInformation/";

constexpr KeyAndPath sharedItems[] = {
    {"ACQUISITION_START_TIME", "sourceAttributes/rawDataStartTime"},
    {"ACQUISITION_TYPE", "sourceAttributes/radarParameters/acquisitionType"},
    {"ANTENNA_POINTING", "sourceAttributes/radarParameters/antennaPointing"},
    {"BEAM_MODE_MNEMONIC", "sourceAttributes/beamModeMnemonic"},
    {"FACILITY_IDENTIFIER", "sourceAttributes/inputDatasetFacilityId"},
    {"FIRST_LINE_TIME",
     "imageGenerationParameters/sarProcessingInformation/zeroDopplerTimeFirstLine"},
    {"LAST_LINE_TIME",
     "imageGenerationParameters/sarProcessingInformation/zeroDopplerTimeLastLine"},
    {"ORBIT_DATA_SOURCE", "sourceAttributes/orbitAndAttitude/orbitInformation/orbitDataSource"},
    {"ORBIT_DIRECTION", "sourceAttributes/orbitAndAttitude/orbitInformation/passDirection"},
    {"POLARIZATIONS", "sourceAttributes/radarParameters/polarizations"},
    {"PROCESSING_FACILITY",
     "imageGenerationParameters/generalProcessingInformation/processingFacility"},
    {"PROCESSING_TIME", "imageGenerationParameters/generalProcessingInformation/processingTime"},
    {"PRODUCT_ID", "productId"},
    {"PRODUCT_TYPE", "imageGenerationParameters/generalProcessingInformation/productType"},
    {"SATELLITE_IDENTIFIER", "sourceAttributes/satellite"},
    {"SENSOR_IDENTIFIER", "sourceAttributes/sensor"},
};

constexpr KeyAndPath rpcNames[] = {
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

double tieNumber(const ProductTree& tree, const char* path, const std::string& file) {
    const auto numbers = parseNumbers(textAt(tree, path), file);
    if (numbers.size() != 1)
        throw loader::Error(file + ": a tie point lacks " + path);
    return numbers.front();
}

StatedVector stateVectorOf(const ProductTree& element) {
    const auto number = [&](const char* name) { return numberOrNan(textAt(element, name)); };
    return {textAt(element, "timeStamp"),
            {number("xPosition"), number("yPosition"), number("zPosition")},
            {number("xVelocity"), number("yVelocity"), number("zVelocity")}};
}

std::optional<Radiometry> radiometryOf(const std::string& text) {
    for (const auto& [name, kind] : {std::pair{"Sigma Nought", Radiometry::sigmaNought},
                                     {"Beta Nought", Radiometry::betaNought},
                                     {"Gamma", Radiometry::gamma}})
        if (text == name)
            return kind;
    return std::nullopt;
}

std::optional<double> smallest(const ProductTree* parent, std::string_view name) {
    std::optional<double> least;
    for (const auto& [key, element] : parent ? *parent : ProductTree())
        if (const auto value = numberOf(element.data()); key == name && value && *value > 0)
            least = std::min(least.value_or(*value), *value);
    return least;
}

/// Simplifies "metadata/../imagery", unless links make that a different folder.
std::string withoutDetours(const std::string& name) {
    const std::filesystem::path direct = std::filesystem::path(name).lexically_normal();
    std::error_code missing;
    return std::filesystem::equivalent(direct, name, missing) ? direct.string() : kfnp::clean(name);
}

/// Skips declaration, processing instructions, comments and blanks.
/// @return the text from the root element on; empty when these bytes do not contain its beginning.
std::string_view fromRoot(std::string_view head) {
    head = withoutMark(head);
    while (head.starts_with("<?") || head.starts_with("<!")) {
        const std::string_view end = head.starts_with("<?")     ? "?>"
                                     : head.starts_with("<!--") ? "-->"
                                                                : ">";
        const auto at = head.find(end);
        if (at == std::string_view::npos)
            return {};
        head = withoutMark(head.substr(at + end.size()));
    }
    return head;
}

} // namespace

XmlProduct::XmlProduct(Document& document, const Layout& layout)
    : text_(std::move(document.text)), layout_(layout) {
    document.tree.get_child("product").swap(root_); // trees have no move, only swap
    facts_.documents = {document.file};
    facts_.id = firstText({text("productId"), std::filesystem::path(document.file).stem()});
    facts_.satellite = text("sourceAttributes/satellite");
    facts_.productType = text("imageGenerationParameters/generalProcessingInformation/productType");
    facts_.polarizations = wordsOf(text("sourceAttributes/radarParameters/polarizations"));
}

std::vector<StatedImage> XmlProduct::imagesOf(const ProductTree& parent,
                                              std::string_view name) const {
    std::vector<StatedImage> images;
    for (const auto& [key, element] : parent)
        if (key == name)
            images.push_back({withoutDetours(folder() + element.data()), element.data(),
                              textAt(element, "<xmlattr>/pole")});
    return images;
}

std::vector<std::string> XmlProduct::furtherFiles() const {
    std::vector<std::string> files;
    if (const ProductTree* parent = image())
        for (const auto& [key, element] : *parent)
            if (key == layout_.tableName ||
                std::find(layout_.furtherNames.begin(), layout_.furtherNames.end(), key) !=
                    layout_.furtherNames.end())
                if (const std::string name = tableFile(element.data()); isOwnFile(file(), name))
                    files.push_back(name);
    return files;
}

Acquisition XmlProduct::acquisition() const {
    const std::string information = "sourceAttributes/orbitAndAttitude/orbitInformation/";
    const std::string raster = layout_.image + "/rasterAttributes/";
    Acquisition facts;
    facts.start = zoned(text(std::string(processing) + "zeroDopplerTimeFirstLine"));
    facts.stop = zoned(text(std::string(processing) + "zeroDopplerTimeLastLine"));
    if (facts.start.empty())
        facts.start = zoned(text("sourceAttributes/rawDataStartTime"));
    if (!facts.stop.empty() && facts.stop < facts.start) // lines may run against time
        std::swap(facts.start, facts.stop);
    facts.productId = facts_.id;
    facts.pass = lowerCase(text(information + "passDirection"));
    facts.lookSide = lowerCase(text("sourceAttributes/radarParameters/antennaPointing"));
    facts.pixelSpacingM = numberOf(text(raster + "sampledPixelSpacing"));
    facts.lineSpacingM = numberOf(text(raster + "sampledLineSpacing"));
    return facts;
}

RadarFacts XmlProduct::radar() const {
    RadarFacts facts;
    if (const auto hertz = numberOf(text("sourceAttributes/radarParameters/radarCenterFrequency")))
        facts.centreFrequencyGHz = *hertz / 1e9;
    facts.rangeLooks = numberOf(text(std::string(processing) + "numberOfRangeLooks"));
    facts.azimuthLooks = numberOf(text(std::string(processing) + "numberOfAzimuthLooks"));
    const ProductTree* parent =
        elementAt(root_, "imageGenerationParameters/sarProcessingInformation");
    facts.rangeBandwidthHz = smallest(parent, "rangeLookBandwidth");
    facts.azimuthBandwidthHz = smallest(parent, "azimuthLookBandwidth");
    return facts;
}

StatedTimes XmlProduct::times() const {
    StatedTimes times;
    times.first = text(std::string(processing) + "zeroDopplerTimeFirstLine");
    times.last = text(std::string(processing) + "zeroDopplerTimeLastLine");
    times.order = text(layout_.image + "/rasterAttributes/lineTimeOrdering");
    times.lineIntervalS =
        numberOf(text(layout_.image + "/rasterAttributes/sampledLineSpacingTime")).value_or(0);
    times.firstS = gpsSecondsOf(times.first);
    times.lastS = gpsSecondsOf(times.last);
    if (const auto* orbit = elementAt(root_, "sourceAttributes/orbitAndAttitude/orbitInformation"))
        for (const auto& [name, element] : *orbit)
            if (element.count("timeStamp") != 0)
                times.vectors.push_back(stateVectorOf(element));
    return times;
}

std::vector<StatedWord> XmlProduct::words() const {
    const std::string raster = layout_.image + "/rasterAttributes/";
    std::vector<StatedWord> stated;
    const auto add = [&](const std::string& path, std::vector<std::string_view> known) {
        if (std::string word = text(path); !word.empty())
            stated.push_back({file(), path, std::move(word), std::move(known)});
    };
    add("sourceAttributes/radarParameters/antennaPointing", {"Left", "Right"});
    add("sourceAttributes/orbitAndAttitude/orbitInformation/passDirection",
        {"Ascending", "Descending"});
    for (const char* order : {"lineTimeOrdering", "pixelTimeOrdering"})
        add(raster + order, {"Increasing", "Decreasing"});
    return stated;
}

TextItems XmlProduct::metadataItems() const {
    TextItems found;
    const auto add = [&](const KeyAndPath& item) {
        if (std::string stated = text(item.second); !stated.empty())
            found.emplace_back(item.first, std::move(stated));
    };
    std::for_each(std::begin(sharedItems), std::end(sharedItems), add);
    std::for_each(layout_.items.begin(), layout_.items.end(), add);
    return found;
}

TextItems XmlProduct::rationalFunctions() const {
    const ProductTree* functions =
        elementAt(root_, layout_.image + geographic + "/rationalFunctions");
    TextItems rpc;
    for (const auto& [name, element] : rpcNames) {
        std::string text = functions ? textAt(*functions, element) : "";
        if (text.empty())
            return {};
        rpc.emplace_back(name, std::move(text));
    }
    return rpc;
}

bool XmlProduct::hasRadarGrid() const {
    return contains(text_, std::string("<") + tiePoint);
}

std::vector<TiePoint> XmlProduct::readTiePoints() const {
    if (!hasRadarGrid())
        return {};
    const ProductTree whole = kfio::parseXmlTree(text_, file());
    std::vector<TiePoint> ties;
    if (const auto* grid =
            elementAt(whole, "product/" + layout_.image + geographic + "/geolocationGrid"))
        for (const auto& [key, element] : *grid)
            if (key == tiePoint)
                ties.push_back({tieNumber(element, "imageCoordinate/line", file()),
                                tieNumber(element, "imageCoordinate/pixel", file()),
                                tieNumber(element, "geodeticCoordinate/latitude", file()),
                                tieNumber(element, "geodeticCoordinate/longitude", file()),
                                tieNumber(element, "geodeticCoordinate/height", file())});
    return ties;
}

std::vector<CalibrationTable> XmlProduct::calibrationTables() const {
    std::vector<CalibrationTable> tables;
    if (const ProductTree* parent = image())
        for (const auto& [key, element] : *parent)
            if (key == layout_.tableName)
                if (const auto kind = radiometryOf(textAt(element, layout_.tableKind)))
                    tables.push_back({*kind, textAt(element, "<xmlattr>/pole"),
                                      textAt(element, "<xmlattr>/beam"),
                                      tableFile(element.data())});
    return tables;
}

/// One family has gains from a first column in steps, the other one gain per column.
StatedGains XmlProduct::readGains(const CalibrationTable& table) const {
    const std::string& name = table.file;
    const auto document = readTable(file(), name);
    const ProductTree* lut = elementAt(*document, "lut");
    if (!lut || lut->count("gains") == 0)
        throw loader::Error(name + ": holds no gains");
    const auto integer = [&](const char* path, std::int64_t otherwise) {
        return lut->count(path) == 0 ? otherwise : parseInteger(leafAt(*lut, path, name), name);
    };
    StatedGains read;
    const auto offsets = parseNumbers(leafAt(*lut, "offset", name), name);
    if (offsets.size() > 1)
        throw loader::Error(name + ": offset holds " + std::to_string(offsets.size()) +
                            " numbers instead of one");
    read.offset = offsets.empty() ? 0 : offsets.front();
    requireWithin(offsetLimits, read.offset, name, "offset");
    read.gains = {integer("pixelFirstLutValue", 0), integer("stepSize", 1),
                  parseNumbers(leafAt(*lut, "gains", name), name)};
    requireWithin(gainLimits, read.gains, name, "gains");
    const auto count = static_cast<std::int64_t>(read.gains.values.size());
    requireCount(integer("numberOfValues", count), read.gains.values.size(), name, "gains");
    return read;
}

/// The kind is stated in an attribute or in an element.
const ProductTree* XmlProduct::levelsFor(const ProductTree& parent, Radiometry kind) {
    for (const auto& [key, element] : parent)
        if (key == "referenceNoiseLevel" &&
            (radiometryOf(textAt(element, "<xmlattr>/incidenceAngleCorrection")) == kind ||
             radiometryOf(textAt(element, "sarCalibrationType")) == kind))
            return &element;
    return nullptr;
}

ColumnProfile XmlProduct::levelsOf(const ProductTree& element, const std::string& file) {
    ColumnProfile levels{parseInteger(leafAt(element, "pixelFirstNoiseValue", file), file),
                         parseInteger(leafAt(element, "stepSize", file), file),
                         parseNumbers(leafAt(element, "noiseLevelValues", file), file)};
    requireWithin(noiseLimits, levels, file, "noiseLevelValues");
    for (const char* announced : {"numberOfValues", "numberOfNoiseLevelValues"})
        if (element.count(announced) != 0)
            requireCount(parseInteger(leafAt(element, announced, file), file), levels.values.size(),
                         file, "noise levels");
    return levels;
}

Likeness looksLikeProductXml(std::string_view head, std::string_view namespaceUri) {
    constexpr std::string_view root = "<product", blanks = " \t\r\n";
    const std::string_view from = fromRoot(head);
    const auto end = from.find('>');
    const std::string_view tag = from.substr(0, end);
    if (tag.starts_with(root) && tag.size() > root.size() &&
        contains(blanks, tag.substr(root.size(), 1)))
        for (const char quote : {'"', '\''})
            if (contains(tag, std::string(1, quote).append(namespaceUri) + quote))
                return Likeness::yes;
    // With more bytes, a root that has not begun or a comment that has not ended may still lead to
    // a product.
    const bool complete = !from.empty() && (end != std::string_view::npos ||
                                            !root.starts_with(from.substr(0, root.size())));
    return complete ? Likeness::no : Likeness::unknown;
}

} // namespace product
