// SPDX-License-Identifier: MIT
#include "output/stac_item.h"

#include "kfio/kfio.h"
#include "kfnp/kfnp.h"
#include "output/archive_path.h"
#include "output/geojson.h"
#include "output/output_file.h"
#include "output/stac_place.h"
#include "product/families/document_text.h"
#include "product/opened_product.h"

#include "records/sar_metadata_record.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>

namespace {

using nlohmann::ordered_json;
constexpr char sarSchema[] = "https://stac-extensions.github.io/sar/v1.3.0/schema.json";
constexpr char satSchema[] = "https://stac-extensions.github.io/sat/v1.0.0/schema.json";
constexpr char viewSchema[] = "https://stac-extensions.github.io/view/v1.0.0/schema.json";
constexpr char projSchema[] = "https://stac-extensions.github.io/projection/v1.1.0/schema.json";

void addPositive(ordered_json& properties, const char* key, std::optional<double> value) {
    if (value && *value > 0)
        properties[key] = *value;
}

void addChoice(ordered_json& properties, const char* key, const std::string& value,
               std::initializer_list<const char*> allowed) {
    if (std::find(allowed.begin(), allowed.end(), value) != allowed.end())
        properties[key] = value;
}

void addTimes(ordered_json& properties, const product::StatedProduct& stated) {
    const product::Acquisition when = stated.acquisition();
    std::string start =
        product::firstText({when.collectStart, when.start, when.collectStop, when.stop});
    std::string end = product::firstText({when.collectStop, when.stop, start});
    if (start.empty())
        throw loader::Error(stated.file() + ": states no time, which a STAC item needs");
    if (end < start)
        std::swap(start, end);
    properties["datetime"] = start;
    properties["start_datetime"] = start;
    properties["end_datetime"] = end;
}

/// Ground speed, m/s, from line spacing and line times of an image in radar geometry.
std::optional<double> lineSpeed(const product::StatedProduct& stated, const StacPlace& place) {
    const auto spacing = stated.acquisition().lineSpacingM;
    const product::StatedTimes times = stated.times();
    const double duration = std::abs(times.lastS - times.firstS);
    if (!spacing || !(duration > 0) || !place.shape || place.transform)
        return std::nullopt;
    return *spacing * ((*place.shape)[0] - 1) / duration;
}

/// The stated resolution, or one computed from the bandwidth B of a look: c / 2B in slant range,
/// ground speed / B in azimuth.
void addResolution(ordered_json& properties, const product::StatedProduct& stated,
                   const StacPlace& place) {
    constexpr double lightMS = 299792458;
    const product::RadarFacts radar = stated.radar();
    auto range = radar.rangeResolutionM;
    auto azimuth = radar.azimuthResolutionM;
    if (!range && radar.rangeBandwidthHz)
        range = lightMS / 2 / *radar.rangeBandwidthHz;
    if (!azimuth && radar.azimuthBandwidthHz)
        if (const auto speed = lineSpeed(stated, place))
            azimuth = *speed / *radar.azimuthBandwidthHz;
    addPositive(properties, "sar:resolution_range", range);
    addPositive(properties, "sar:resolution_azimuth", azimuth);
}

/// Checks the fields that the SAR extension requires.
/// @return the fields that are missing or have an unknown value, joined by commas.
std::string addSar(ordered_json& properties, const product::StatedProduct& stated,
                   const std::string& sensor, const StacPlace& place) {
    const product::Acquisition acquisition = stated.acquisition();
    const product::RadarFacts radar = stated.radar();
    const product::ProductFacts& facts = stated.facts();
    properties["sar:instrument_mode"] = acquisition.beamMode;
    properties["sar:frequency_band"] = sensor;
    addPositive(properties, "sar:center_frequency", radar.centreFrequencyGHz);
    properties["sar:polarizations"] = facts.polarizations;
    properties["sar:product_type"] = facts.productType;
    addPositive(properties, "sar:pixel_spacing_range", acquisition.pixelSpacingM);
    addPositive(properties, "sar:pixel_spacing_azimuth", acquisition.lineSpacingM);
    for (const auto& [key, looks] : {std::pair("sar:looks_range", radar.rangeLooks),
                                     std::pair("sar:looks_azimuth", radar.azimuthLooks)})
        if (looks && *looks >= 1 && *looks <= std::numeric_limits<int>::max() &&
            *looks == std::floor(*looks))
            properties[key] = static_cast<int>(*looks);
    addPositive(properties, "sar:looks_equivalent_number", radar.equivalentLooks);
    addResolution(properties, stated, place);
    addChoice(properties, "sar:observation_direction", acquisition.lookSide, {"left", "right"});

    static constexpr std::string_view known[] = {"HH", "HV", "VH", "VV", "LH",
                                                 "LV", "RH", "RV", "CH", "CV"};
    const auto& poles = facts.polarizations;
    const bool polesKnown =
        !poles.empty() && std::all_of(poles.begin(), poles.end(), [](const std::string& pole) {
            return std::find(std::begin(known), std::end(known), pole) != std::end(known);
        });
    std::string missing;
    for (const auto& [key, there] :
         {std::pair("sar:polarizations", polesKnown),
          std::pair("sar:product_type", !facts.productType.empty()),
          std::pair("sar:frequency_band", !sensor.empty()),
          std::pair("sar:instrument_mode", !acquisition.beamMode.empty())})
        if (!there)
            missing += (missing.empty() ? "" : ", ") + std::string(key);
    return missing;
}

/// From the product's record; without one, from the stated angle.
std::optional<double> recordedIncidenceDeg(const product::OpenedProduct& opened) {
    const auto& nodes = opened.nodeNames();
    if (std::find(nodes.begin(), nodes.end(), ":SAR_Metadata") == nodes.end())
        return std::nullopt;
    try {
        std::string remarks;
        const KmifNode node = opened.product.node(":SAR_Metadata", remarks);
        const double angle =
            static_cast<const SarMetadataRecord*>(node.data())->incidenceAngleCentre;
        return angle > 0 ? std::optional(angle) : std::nullopt;
    } catch (const loader::Error&) {
        return std::nullopt;
    }
}

/// The angle at the scene's centre: of the product's record, else as the document states it.
std::optional<double> incidenceDeg(const product::OpenedProduct* opened,
                                   const product::Acquisition& stated) {
    if (opened)
        if (const auto angle = recordedIncidenceDeg(*opened))
            return angle;
    if (stated.centreIncidenceDeg)
        return stated.centreIncidenceDeg;
    if (stated.nearIncidenceDeg && stated.farIncidenceDeg)
        return (*stated.nearIncidenceDeg + *stated.farIncidenceDeg) / 2;
    return std::nullopt;
}

void addProjection(ordered_json& properties, const StacPlace& place) {
    properties["proj:epsg"] = place.epsg ? ordered_json(*place.epsg) : ordered_json(nullptr);
    if (place.shape)
        properties["proj:shape"] = *place.shape;
    if (place.transform)
        properties["proj:transform"] = *place.transform;
}

/// @return the address of a file on a server or object store; "" for other files.
std::string addressOf(const std::string& file) {
    if (constexpr std::string_view web = "/vsicurl/"; file.starts_with(web))
        return file.substr(web.size());
    for (const auto& [prefix, scheme] :
         {std::pair<std::string_view, const char*>("/vsis3/", "s3://"), {"/vsigs/", "gs://"}})
        if (file.starts_with(prefix))
            return scheme + file.substr(prefix.size());
    return "";
}

/// Converts a file name to an IRI reference; characters with a special meaning are escaped.
std::string reference(const std::string& file, const std::filesystem::path& folder) {
    namespace fs = std::filesystem;
    constexpr std::string_view special = " \"#%<>?[\\]^`{|}";
    if (std::string address = addressOf(file); !address.empty())
        return address;
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
    const std::string extension = product::lowerCase(std::filesystem::path(file).extension());
    if (extension == ".tif" || extension == ".tiff")
        return "image/tiff; application=geotiff";
    if (extension == ".xml")
        return "application/xml";
    if (extension == ".zip")
        return "application/zip";
    return extension == ".json" ? "application/json" : "application/octet-stream";
}

ordered_json assets(const product::ProductFacts& facts, const std::filesystem::path& folder) {
    // Clients cannot address a member of an archive, only the archive.
    if (const std::string archive = outermostArchive(facts.documents.front());
        archive != facts.documents.front())
        return {{"product",
                 {{"href", reference(archive, folder)},
                  {"type", mediaType(archive)},
                  {"roles", {"data", "metadata", "archive"}},
                  {"sar:polarizations", facts.polarizations}}}};
    const auto asset = [&](const std::string& file, const char* role) {
        return ordered_json{{"href", reference(file, folder)},
                            {"type", mediaType(file)},
                            {"roles", ordered_json::array({role})}};
    };
    ordered_json found;
    for (std::size_t i = 0; i < facts.images.size(); ++i) {
        const product::StatedImage& image = facts.images[i];
        std::string key = product::lowerCase(image.pole);
        if (key.empty() || found.contains(key))
            key = "image-" + std::to_string(i + 1);
        found[key] = asset(image.file, "data");
        if (!image.pole.empty())
            found[key]["sar:polarizations"] = ordered_json::array({image.pole});
    }
    found["metadata"] = asset(facts.documents.front(), "metadata");
    for (std::size_t i = 1; i < facts.documents.size(); ++i)
        found[i == 1 ? "extended-metadata" : "metadata-" + std::to_string(i + 1)] =
            asset(facts.documents[i], "metadata");
    return found;
}

/// A product; only its statements if the plug-in cannot open it because images are missing.
struct Source {
    std::shared_ptr<const product::OpenedProduct> opened; ///< null without images
    std::unique_ptr<const product::StatedProduct> statedAlone;

    const product::StatedProduct& stated() const {
        return opened ? opened->stated() : *statedAlone;
    }
};

/// @return the first missing image that keeps the plug-in from opening the product; "" when there
///         is none.
std::string missingImage(const product::ProductFacts& facts) {
    const bool missing = facts.needsImages && !facts.productType.empty() && !facts.images.empty() &&
                         !kfio::fileState(facts.images.front().file).exists;
    return missing ? facts.images.front().file : "";
}

Source openUnlessImageless(const std::string& file, std::vector<std::string>& warnings) {
    try {
        return {product::openProduct(file), nullptr};
    } catch (const loader::Error&) {
        auto stated = [&]() -> std::unique_ptr<const product::StatedProduct> {
            try {
                return product::readStatedProduct(file);
            } catch (const loader::Error&) {
                return nullptr; // the plug-in's own report reaches the user
            }
        }();
        const std::string image = stated ? missingImage(stated->facts()) : "";
        if (image.empty())
            throw;
        warnings.push_back(image + ": is not there");
        return {nullptr, std::move(stated)};
    }
}

std::string sensorOf(const Source& source) {
    if (!source.opened)
        return source.stated().radar().band;
    const auto& names = source.opened->layerNames();
    if (names.empty())
        throw loader::Error(source.opened->name() + ": the product has no layers");
    return product::parseLayerName(names.front()).sensor;
}

} // namespace

ordered_json stacItem(const std::string& file, const std::string& output,
                      std::vector<std::string>& warnings) {
    const Source source = openUnlessImageless(file, warnings);
    const product::StatedProduct& stated = source.stated();
    refuseOwnFiles(output, stated);
    const product::Acquisition acquisition = stated.acquisition();
    const StacPlace place = stacPlace(source.opened.get(), stated, warnings);

    ordered_json properties;
    auto extensions = ordered_json::array();
    addTimes(properties, stated);
    properties["platform"] = product::lowerCase(stated.facts().satellite);
    properties["instruments"] = {"sar"};
    const std::string missing = addSar(properties, stated, sensorOf(source), place);
    if (missing.empty())
        extensions.push_back(sarSchema);
    else
        warnings.push_back(file + ": states nothing that the SAR extension of STAC knows for " +
                           missing + "; the item does not declare it");
    addChoice(properties, "sat:orbit_state", acquisition.pass, {"ascending", "descending"});
    if (properties.contains("sat:orbit_state"))
        extensions.push_back(satSchema);
    if (const auto angle = incidenceDeg(source.opened.get(), acquisition);
        angle && *angle >= 0 && *angle <= 90) {
        properties["view:incidence_angle"] = *angle;
        extensions.push_back(viewSchema);
    }
    addProjection(properties, place);
    extensions.push_back(projSchema);

    ordered_json item = {{"type", "Feature"},
                         {"stac_version", "1.0.0"},
                         {"stac_extensions", extensions},
                         {"id", stated.facts().id},
                         {"geometry", footprintJson(place.footprint)}};
    if (!place.footprint.polygons.empty())
        item["bbox"] = boundingBox(place.footprint);
    item["properties"] = properties;
    item["links"] = ordered_json::array();
    const auto beside = std::filesystem::absolute(output == "-" ? file : output);
    item["assets"] = assets(stated.facts(), beside.lexically_normal().parent_path());
    return item;
}
