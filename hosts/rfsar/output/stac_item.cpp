#include "output/stac_item.h"

#include "kfio/kfio.h"
#include "kfnp/kfnp.h"
#include "output/geojson.h"
#include "output/stac_place.h"
#include "product/images/image_files.h"
#include "product/metadata_items.h"

#include "records/sar_metadata_record.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <optional>

namespace {

using nlohmann::ordered_json;
using product::ProductDocument;
using product::textAt;
using Facts = std::map<std::string, std::string>;

constexpr char sarSchema[] = "https://stac-extensions.github.io/sar/v1.0.0/schema.json";
constexpr char satSchema[] = "https://stac-extensions.github.io/sat/v1.0.0/schema.json";
constexpr char viewSchema[] = "https://stac-extensions.github.io/view/v1.0.0/schema.json";
constexpr char projSchema[] = "https://stac-extensions.github.io/projection/v1.1.0/schema.json";

std::string lower(std::string text) {
    for (char& c : text)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return text;
}

std::string factOf(const Facts& facts, const char* key) {
    const auto found = facts.find(key);
    return found == facts.end() ? "" : found->second;
}

std::string firstText(std::initializer_list<std::string> texts) {
    for (const std::string& text : texts)
        if (!text.empty() && text != "null")
            return text;
    return "";
}

std::optional<double> number(const std::string& text) {
    double value = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (fault != std::errc() || end != text.data() + text.size() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

void addPositive(ordered_json& properties, const char* key, std::optional<double> value) {
    if (value && *value > 0)
        properties[key] = *value;
}

void addChoice(ordered_json& properties, const char* key, const std::string& value,
               std::initializer_list<const char*> allowed) {
    if (std::find(allowed.begin(), allowed.end(), value) != allowed.end())
        properties[key] = value;
}

/// All products count in UTC; some leave the zone out.
std::string zoned(const std::string& time) {
    return time.empty() || time.back() == 'Z' ? time : time + 'Z';
}

void addTimes(ordered_json& properties, const ProductDocument& document, const Facts& facts) {
    std::string start = zoned(firstText({textAt(document.extended, "collect/start_timestamp"),
                                         textAt(document.root, "properties/start_datetime"),
                                         factOf(facts, "FIRST_LINE_TIME")}));
    std::string end = zoned(firstText({textAt(document.extended, "collect/stop_timestamp"),
                                       textAt(document.root, "properties/end_datetime"),
                                       factOf(facts, "LAST_LINE_TIME")}));
    if (start.empty())
        start = zoned(firstText({factOf(facts, "ACQUISITION_START_TIME"), end}));
    if (end.empty())
        end = start;
    if (start.empty())
        throw loader::Error(document.file + ": states no time, which a STAC item needs");
    if (end < start) // lines may run against time
        std::swap(start, end);
    properties["datetime"] = start;
    properties["start_datetime"] = start;
    properties["end_datetime"] = end;
}

/// The smallest of an element's numbers; beams have one each.
std::optional<double> smallest(const product::ProductDocument& document, const std::string& name) {
    std::optional<double> least;
    if (const auto parent =
            document.root.get_child_optional("imageGenerationParameters.sarProcessingInformation"))
        for (const auto& [key, element] : *parent)
            if (const auto value = number(element.data()); key == name && value && *value > 0)
                least = std::min(least.value_or(*value), *value);
    return least;
}

std::optional<double> secondsOfDay(const std::string& time) {
    const auto clock = time.find('T');
    if (clock == std::string::npos || time.size() < clock + 9)
        return std::nullopt;
    const auto hours = number(time.substr(clock + 1, 2)),
               minutes = number(time.substr(clock + 4, 2));
    const auto end = time.find_first_not_of("0123456789.", clock + 7);
    const auto seconds = number(time.substr(clock + 7, end - clock - 7));
    if (!hours || !minutes || !seconds)
        return std::nullopt;
    return *hours * 3600 + *minutes * 60 + *seconds;
}

/// Metres on the ground in a second, as an image in the radar's grid states its lines.
std::optional<double> lineSpeed(const Facts& facts, const StacPlace& place) {
    const auto spacing = number(factOf(facts, "LINE_SPACING"));
    const auto first = secondsOfDay(factOf(facts, "FIRST_LINE_TIME"));
    const auto last = secondsOfDay(factOf(facts, "LAST_LINE_TIME"));
    if (!spacing || !first || !last || !place.shape || place.transform || *first == *last)
        return std::nullopt;
    constexpr double day = 86400;
    return *spacing * ((*place.shape)[0] - 1) / std::abs(std::remainder(*last - *first, day));
}

/// As the product states it; RADARSAT-2 and RCM state the bandwidths of a look instead: c / 2B in
/// slant range, speed over ground / B in azimuth.
void addResolution(ordered_json& properties, const ProductDocument& document, const Facts& facts,
                   const StacPlace& place) {
    constexpr double lightMS = 299792458;
    auto range = number(firstText({textAt(document.root, "properties/sar:resolution_range"),
                                   textAt(document.extended, "collect/image/range_resolution")}));
    auto azimuth =
        number(firstText({textAt(document.root, "properties/sar:resolution_azimuth"),
                          textAt(document.extended, "collect/image/azimuth_resolution")}));
    if (const auto bandwidth = smallest(document, "rangeLookBandwidth"); !range && bandwidth)
        range = lightMS / 2 / *bandwidth;
    if (const auto bandwidth = smallest(document, "azimuthLookBandwidth"); !azimuth && bandwidth)
        if (const auto speed = lineSpeed(facts, place))
            azimuth = *speed / *bandwidth;
    addPositive(properties, "sar:resolution_range", range);
    addPositive(properties, "sar:resolution_azimuth", azimuth);
}

/// @return whether all that the SAR extension requires is there.
bool addSar(ordered_json& properties, const ProductDocument& document, const Facts& facts,
            const product::ProductFacts& stated, const std::string& sensor,
            const StacPlace& place) {
    properties["sar:instrument_mode"] = factOf(facts, "BEAM_MODE");
    properties["sar:frequency_band"] = sensor;
    auto hertz = number(
        firstText({textAt(document.root, "sourceAttributes/radarParameters/radarCenterFrequency"),
                   textAt(document.extended, "collect/radar/center_frequency")}));
    addPositive(properties, "sar:center_frequency",
                hertz ? *hertz / 1e9
                      : number(textAt(document.root, "properties/sar:center_frequency")));
    properties["sar:polarizations"] = stated.polarizations;
    properties["sar:product_type"] = stated.productType;
    addPositive(properties, "sar:pixel_spacing_range", number(factOf(facts, "PIXEL_SPACING")));
    addPositive(properties, "sar:pixel_spacing_azimuth", number(factOf(facts, "LINE_SPACING")));
    const std::string processing = "imageGenerationParameters/sarProcessingInformation/";
    for (const auto& [key, xml, json] :
         {std::tuple("sar:looks_range", "numberOfRangeLooks", "collect/image/range_looks"),
          std::tuple("sar:looks_azimuth", "numberOfAzimuthLooks", "collect/image/azimuth_looks")})
        if (const auto looks = number(firstText(
                {textAt(document.root, processing + xml), textAt(document.extended, json)}));
            looks && *looks >= 1 && *looks == std::floor(*looks))
            properties[key] = static_cast<int>(*looks);
    addPositive(
        properties, "sar:looks_equivalent_number",
        number(firstText({textAt(document.extended, "collect/image/enl"),
                          textAt(document.root, "properties/sar:looks_equivalent_number")})));
    addResolution(properties, document, facts, place);
    addChoice(properties, "sar:observation_direction", lower(factOf(facts, "ANTENNA_POINTING")),
              {"left", "right"});

    const auto& poles = stated.polarizations;
    const bool known = std::all_of(poles.begin(), poles.end(), [](const std::string& pole) {
        return pole == "HH" || pole == "HV" || pole == "VH" || pole == "VV";
    });
    return known && !poles.empty() && !stated.productType.empty() && !sensor.empty() &&
           !factOf(facts, "BEAM_MODE").empty();
}

/// As the product's record has it; a product without one may still state the angle.
std::optional<double> recordedIncidenceDeg(const loader::Product& opened) {
    const auto nodes = opened.nodeNames();
    if (std::find(nodes.begin(), nodes.end(), ":SAR_Metadata") == nodes.end())
        return std::nullopt;
    try {
        std::string remarks;
        const KmifNode node = opened.node(":SAR_Metadata", remarks);
        const double angle =
            static_cast<const SarMetadataRecord*>(node.data())->incidenceAngleCentre;
        return angle > 0 ? std::optional(angle) : std::nullopt;
    } catch (const loader::Error&) {
        return std::nullopt;
    }
}

/// The angle at the scene's centre: of the product's record, else as the document states it.
std::optional<double> incidenceDeg(const loader::Product* opened, const Facts& facts) {
    if (opened)
        if (const auto angle = recordedIncidenceDeg(*opened))
            return angle;
    if (const auto centre = number(factOf(facts, "CENTER_INCIDENCE_ANGLE")))
        return centre;
    const auto nearAngle = number(factOf(facts, "NEAR_RANGE_INCIDENCE_ANGLE"));
    const auto farAngle = number(factOf(facts, "FAR_RANGE_INCIDENCE_ANGLE"));
    if (nearAngle && farAngle)
        return (*nearAngle + *farAngle) / 2;
    return std::nullopt;
}

void addProjection(ordered_json& properties, const StacPlace& place) {
    properties["proj:epsg"] = place.epsg ? ordered_json(*place.epsg) : ordered_json(nullptr);
    if (place.shape)
        properties["proj:shape"] = *place.shape;
    if (place.transform)
        properties["proj:transform"] = *place.transform;
}

/// A file name as an IRI reference: what would mean something else in one is escaped.
std::string reference(const std::string& file, const std::filesystem::path& folder) {
    namespace fs = std::filesystem;
    constexpr std::string_view special = " \"#%<>?[\\]^`{|}";
    const std::string name =
        kfnp::isVirtual(file) ? file : fs::absolute(file).lexically_proximate(folder).string();
    std::string escaped = name.find(':') < name.find('/') ? "./" : "";
    for (const char c : name) {
        if (static_cast<unsigned char>(c) > 0x20 && c != 0x7F &&
            special.find(c) == std::string_view::npos) {
            escaped += c;
            continue;
        }
        constexpr char digits[] = "0123456789ABCDEF";
        escaped += {'%', digits[static_cast<unsigned char>(c) >> 4], digits[c & 15]};
    }
    return escaped;
}

std::string mediaType(const std::string& file) {
    const std::string extension = lower(std::filesystem::path(file).extension());
    if (extension == ".tif" || extension == ".tiff")
        return "image/tiff; application=geotiff";
    if (extension == ".xml")
        return "application/xml";
    return extension == ".json" ? "application/json" : "application/octet-stream";
}

ordered_json assets(const ProductDocument& document, const product::ProductFacts& facts,
                    const std::filesystem::path& folder) {
    const auto asset = [&](const std::string& file, const char* role) {
        return ordered_json{{"href", reference(file, folder)},
                            {"type", mediaType(file)},
                            {"roles", ordered_json::array({role})}};
    };
    ordered_json found;
    const auto files = product::imageFiles(document, facts);
    for (std::size_t i = 0; i < files.size(); ++i) {
        std::string key = lower(facts.images[i].pole);
        if (key.empty() || found.contains(key))
            key = "image-" + std::to_string(i + 1);
        found[key] = asset(files[i], "data");
        if (!facts.images[i].pole.empty())
            found[key]["sar:polarizations"] = ordered_json::array({facts.images[i].pole});
    }
    found["metadata"] = asset(document.file, "metadata");
    if (!document.root.empty() && !document.extended.empty())
        found["extended-metadata"] = asset(document.extendedFile, "metadata");
    return found;
}

/// @return the image of a Capella item that is not there; "" when nothing of the kind is amiss.
std::string missingImage(const std::string& file) {
    try {
        const ProductDocument document = product::readDocument(file);
        const auto stated = product::readFacts(document);
        const auto images = product::imageFiles(document, stated);
        const bool missing = document.kind == ProductDocument::Kind::capella &&
                             !stated.productType.empty() && !images.empty() &&
                             !kfio::fileState(images.front()).exists;
        return missing ? images.front() : "";
    } catch (const loader::Error&) {
        return "";
    }
}

/// The plug-in opens no Capella item without its image; the documents still tell.
std::optional<loader::Product> openUnlessImageless(const std::string& file,
                                                   std::vector<std::string>& warnings) {
    try {
        return loader::Product(loader::Plugin::instance(), file);
    } catch (const loader::Error&) {
        const std::string image = missingImage(file);
        if (image.empty())
            throw;
        warnings.push_back(image + ": is not there");
        return std::nullopt;
    }
}

std::string sensorOf(const loader::Product* opened, const ProductDocument& document) {
    if (!opened)
        return firstText({textAt(document.root, "properties/sar:frequency_band"), "X"});
    const auto names = opened->layerNames();
    if (names.empty())
        throw loader::Error(opened->name() + ": the product has no layers");
    return product::parseLayerName(names.front()).sensor;
}

} // namespace

std::string productId(const ProductDocument& document) {
    if (std::string id =
            firstText({textAt(document.root, "productId"), textAt(document.root, "id")});
        !id.empty())
        return id;
    std::string stem = kfnp::lastComponent(document.file);
    stem.erase(stem.rfind('.'));
    if (stem.ends_with("_extended"))
        stem.erase(stem.size() - std::string_view("_extended").size());
    return stem;
}

ordered_json stacItem(const std::string& file, const std::filesystem::path& folder,
                      std::vector<std::string>& warnings) {
    const auto whole = openUnlessImageless(file, warnings);
    const loader::Product* opened = whole ? &*whole : nullptr;
    const ProductDocument document = product::readDocument(file);
    const product::ProductFacts stated = product::readFacts(document);
    const auto items = product::metadataItems(document);
    const Facts facts(items.begin(), items.end());
    const StacPlace place = stacPlace(opened, document, warnings);

    ordered_json properties;
    auto extensions = ordered_json::array();
    addTimes(properties, document, facts);
    properties["platform"] = lower(stated.satellite);
    properties["instruments"] = {"sar"};
    if (addSar(properties, document, facts, stated, sensorOf(opened, document), place))
        extensions.push_back(sarSchema);
    else
        warnings.push_back(file + ": the SAR extension of STAC has no words for these "
                                  "polarizations, or a field that it requires is missing; "
                                  "the item does not declare it");
    addChoice(properties, "sat:orbit_state", lower(factOf(facts, "ORBIT_DIRECTION")),
              {"ascending", "descending"});
    if (properties.contains("sat:orbit_state"))
        extensions.push_back(satSchema);
    if (const auto angle = incidenceDeg(opened, facts); angle && *angle >= 0 && *angle <= 90) {
        properties["view:incidence_angle"] = *angle;
        extensions.push_back(viewSchema);
    }
    addProjection(properties, place);
    extensions.push_back(projSchema);

    ordered_json item = {{"type", "Feature"},
                         {"stac_version", "1.0.0"},
                         {"stac_extensions", extensions},
                         {"id", productId(document)},
                         {"geometry", footprintJson(place.footprint)}};
    if (!place.footprint.polygons.empty())
        item["bbox"] = boundingBox(place.footprint);
    item["properties"] = properties;
    item["links"] = ordered_json::array();
    item["assets"] = assets(document, stated, folder);
    return item;
}
