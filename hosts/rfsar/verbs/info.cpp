// SPDX-License-Identifier: MIT
#include "output/console.h"
#include "output/geojson.h"
#include "pictures/picture_place.h"
#include "product/bursts/burst_record.h"
#include "product/bursts/burst_times.h"
#include "product/checks/checks.h"
#include "product/images/raster.h"
#include "verbs/kept_options.h"
#include "verbs/verbs.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <optional>
#include <ostream>
#include <sstream>

namespace {

using nlohmann::ordered_json;

/// The footprint of the first layer that can be opened; the others cover the same ground.
product::Footprint footprintOf(const product::OpenedProduct& opened,
                               std::vector<std::string>& warnings) {
    if (const auto whole = product::wholeOf(opened))
        try {
            const product::Locator locator(std::make_shared<const product::Place>(
                product::placeOf(opened, *whole, opened.name())));
            return product::footprintOf(locator, whole->samples, whole->lines);
        } catch (const loader::Error& error) {
            warnings.emplace_back(error.what());
            return {};
        }
    for (const std::string& name : opened.layerNames()) {
        std::optional<loader::Layer> layer;
        try {
            layer.emplace(opened.product.openLayer(name));
        } catch (const loader::Error&) {
            continue; // describeLayer has told
        }
        try {
            const product::Locator locator(opened, *layer);
            const std::string& remarks = locator.remarks();
            if (!remarks.empty() &&
                std::find(warnings.begin(), warnings.end(), remarks) == warnings.end())
                warnings.push_back(remarks);
            return product::footprintOf(locator, layer->width(), layer->height());
        } catch (const loader::Error& error) {
            warnings.emplace_back(error.what());
            return {};
        }
    }
    return {};
}

/// Describes one layer; one that cannot be opened keeps its name and adds a warning.
ordered_json describeLayer(const product::OpenedProduct& opened, const std::string& name,
                           std::vector<std::string>& warnings) {
    const product::ProductFacts& facts = opened.stated().facts();
    const auto parsed = product::parseLayerName(name);
    const std::size_t image = product::imageOfLayer(parsed, opened.layersInPairs());
    const bool known = image < facts.images.size() && !facts.images[image].pole.empty();
    ordered_json layer = {{"name", name}, {"pole", known ? facts.images[image].pole : parsed.pole}};
    try {
        const loader::Layer open = opened.product.openLayer(name);
        layer["pixelType"] = opened.product.plugin().pixelTypeName(open.pixelType());
        layer["width"] = open.width();
        layer["height"] = open.height();
        layer["blockWidth"] = open.blockWidth();
        layer["blockHeight"] = open.blockHeight();
    } catch (const loader::Error& error) {
        warnings.emplace_back(error.what());
        for (const char* key : {"pixelType", "width", "height", "blockWidth", "blockHeight"})
            layer[key] = nullptr;
    }
    return layer;
}

ordered_json stated(const std::string& text) {
    return text.empty() ? ordered_json(nullptr) : ordered_json(text);
}

ordered_json stated(const std::optional<double>& number) {
    return number ? ordered_json(*number) : ordered_json(nullptr);
}

ordered_json acquisitionJson(const product::Acquisition& acquired) {
    return {{"start", stated(acquired.start)},
            {"stop", stated(acquired.stop)},
            {"productId", stated(acquired.productId)},
            {"beamMode", stated(acquired.beamMode)},
            {"orbitDirection", stated(acquired.pass)},
            {"lookSide", stated(acquired.lookSide)},
            {"incidenceDeg",
             {{"near", stated(acquired.nearIncidenceDeg)},
              {"centre", stated(acquired.centreIncidenceDeg)},
              {"far", stated(acquired.farIncidenceDeg)}}},
            {"pixelSpacingM", stated(acquired.pixelSpacingM)},
            {"lineSpacingM", stated(acquired.lineSpacingM)},
            {"geometry", stated(acquired.geometry)}};
}

struct Description {
    ordered_json json;
    std::vector<product::LonLat> corners;
    bool holdsComplex; ///< also where layers are named as magnitudes
};

/// What export and geocode take beside layers.
std::vector<std::string> exportNames(const std::shared_ptr<const product::OpenedProduct>& opened) {
    std::vector<std::string> names;
    for (const product::Entry& each : product::available(opened, product::catalogue(*opened)))
        if (each.kind != product::Entry::Kind::layer && !(each.decibels && each.isOfBurst()))
            names.push_back(each.name);
    return names;
}

/// A row for each burst and polarization, by beam and number.
ordered_json burstsJson(const product::StatedProduct& stated) {
    auto rows = ordered_json::array();
    for (const product::StatedBurst& burst : stated.bursts()) {
        const auto [start, stop] = product::timesOf(stated, burst);
        for (const product::StatedImage& image : burst.images)
            rows.push_back({{"beam", burst.beam},
                            {"burst", burst.number},
                            {"pole", image.pole},
                            {"file", image.name},
                            {"lines", burst.lines},
                            {"samples", burst.samples},
                            {"lineOffset", burst.lineOffset},
                            {"sampleOffset", burst.sampleOffset},
                            {"start", start.empty() ? ordered_json() : ordered_json(start)},
                            {"stop", stop.empty() ? ordered_json() : ordered_json(stop)}});
    }
    return rows;
}

Description describe(const std::string& entry) {
    const auto whole = product::openProduct(entry);
    const product::OpenedProduct& opened = *whole;
    const product::ProductFacts& facts = opened.stated().facts();
    const auto& names = opened.layerNames();
    const auto parsed = [&](std::size_t i) { return product::parseLayerName(names[i]); };
    const bool complexProduct = opened.layersInPairs();

    std::vector<std::string> poles;
    for (std::size_t i = 0; i < names.size(); i += complexProduct ? 2 : 1)
        poles.push_back(parsed(i).pole);
    if (names.empty())
        poles = facts.polarizations;
    auto images = ordered_json::array();
    for (const auto& image : facts.images)
        images.push_back({{"file", image.name}, {"pole", image.pole}});

    auto warnings = product::warnings(opened);
    if (const std::string remark = product::modelRemark(facts);
        !remark.empty() && opened.stated().acquisition().geometry != "map")
        warnings.push_back(remark);
    auto layers = ordered_json::array();
    for (const std::string& name : names)
        layers.push_back(describeLayer(opened, name, warnings));
    const product::Footprint footprint = footprintOf(opened, warnings);
    ordered_json json = {
        {"file", opened.name()},
        {"format",
         {{"index", opened.product.formatIndex()}, {"title", opened.product.format().title}}},
        {"satellite", facts.satellite},
        {"productType", facts.productType},
        {"sensor", names.empty() ? "" : parsed(0).sensor},
        {"complex", complexProduct},
        {"acquisition", acquisitionJson(opened.stated().acquisition())},
        {"polarizations", poles},
        {"images", images},
        {"layers", layers},
        {"exports", exportNames(whole)},
        {"nodes", opened.nodeNames()},
        {"footprint", footprintJson(footprint)},
        {"warnings", warnings}};
    if (opened.hasBursts())
        json["bursts"] = burstsJson(opened.stated());
    return {std::move(json), footprint.corners, complexProduct || facts.namedAsDetected};
}

std::string joined(const ordered_json& texts) {
    std::string line;
    for (const auto& text : texts)
        line += (line.empty() ? "" : ", ") + text.get<std::string>();
    return line;
}

/// Prints a stated value on a line; nothing if it is not stated.
void printFact(const char* name, const std::string& text) {
    if (!text.empty())
        console::out() << std::left << std::setw(15) << name << text << '\n';
}

std::string number(const ordered_json& value, int decimals) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(decimals) << value.get<double>();
    return text.str();
}

std::string textOf(const ordered_json& value) {
    return value.is_null() ? "" : value.get<std::string>();
}

std::string incidenceText(const ordered_json& angles) {
    std::string text;
    for (const auto& [place, angle] : angles.items())
        if (!angle.is_null())
            text += (text.empty() ? "" : ", ") + place + " " + number(angle, 2);
    return text.empty() ? "" : text + " degrees";
}

/// How large the pixels are, in the product's own geometry.
std::string spacingText(const ordered_json& acquired) {
    const ordered_json &sample = acquired["pixelSpacingM"], &line = acquired["lineSpacingM"];
    if (sample.is_null() || line.is_null())
        return "";
    return number(sample, 3) + " m along lines, " + number(line, 3) + " m between lines" +
           (acquired["geometry"] == "slant" ? " (slant range)" : "");
}

std::string geometryText(const std::string& geometry) {
    return geometry == "slant"    ? "slant range"
           : geometry == "ground" ? "ground range"
           : geometry == "map"    ? "map"
                                  : "";
}

void printAcquisition(const ordered_json& acquired) {
    printFact("product id", textOf(acquired["productId"]));
    printFact("first line", textOf(acquired["start"]));
    printFact("last line", textOf(acquired["stop"]));
    printFact("beam mode", textOf(acquired["beamMode"]));
    printFact("pass", textOf(acquired["orbitDirection"]));
    printFact("look side", textOf(acquired["lookSide"]));
    printFact("incidence", incidenceText(acquired["incidenceDeg"]));
    printFact("geometry", geometryText(textOf(acquired["geometry"])));
    printFact("pixel spacing", spacingText(acquired));
}

/// Along the first line and along the first samples, on the ellipsoid.
std::string groundSizeText(const std::vector<product::LonLat>& corners) {
    if (corners.size() != 4)
        return "";
    const auto km = [&](std::size_t from, std::size_t to) {
        const auto& [lon, lat] = corners[from];
        return groundStep({lon, lat, 0}, {corners[to].lonDeg, corners[to].latDeg, 0}).lengthM() /
               1000;
    };
    const double across = km(0, 1), along = km(0, 3);
    if (!std::isfinite(across) || !std::isfinite(along))
        return "";
    std::ostringstream text;
    text << std::setprecision(3) << across << " x " << along << " km";
    return text.str();
}

void printCorners(const std::vector<product::LonLat>& corners) {
    static constexpr const char* names[] = {"first line, first sample", "first line, last sample",
                                            "last line, last sample", "last line, first sample"};
    if (corners.empty())
        return;
    console::out() << "corners        longitude, latitude\n";
    for (std::size_t i = 0; i < corners.size(); ++i) {
        console::out() << "  " << names[i] << "  ";
        if (std::isnan(corners[i].lonDeg))
            console::out() << "has no place on the ground\n";
        else
            console::out() << std::fixed << std::setprecision(6) << corners[i].lonDeg << "  "
                           << corners[i].latDeg << '\n';
    }
}

void printText(const Description& description) {
    const ordered_json& info = description.json;
    const auto text = [&](const char* key) { return info[key].get<std::string>(); };
    console::out() << "file           " << text("file") << '\n'
                   << "format         " << info["format"]["title"].get<std::string>() << '\n'
                   << "satellite      " << text("satellite") << '\n'
                   << "product type   " << text("productType")
                   << (description.holdsComplex ? " (complex)" : " (detected)") << '\n';
    printAcquisition(info["acquisition"]);
    printFact("ground size", groundSizeText(description.corners));
    console::out() << "polarizations  " << joined(info["polarizations"]) << '\n'
                   << "nodes          " << joined(info["nodes"]) << '\n'
                   << "layers\n";
    for (const auto& layer : info["layers"]) {
        console::out() << "  " << layer["name"].get<std::string>();
        if (!layer["width"].is_null())
            console::out() << "  " << layer["width"] << " x " << layer["height"] << "  "
                           << layer["pixelType"].get<std::string>() << ", blocks of "
                           << layer["blockWidth"] << " x " << layer["blockHeight"];
        console::out() << '\n';
    }
    if (!info["exports"].empty())
        console::out() << "export also    " << joined(info["exports"]) << '\n';
    printCorners(description.corners);
    for (const auto& warning : info["warnings"])
        console::warning(warning.get<std::string>());
}

/// A single product that fails ends the verb as usual; among several, the others are described.
/// @return the exit status.
int describeAll(const std::vector<std::string>& files, bool json) {
    auto array = ordered_json::array();
    int status = 0;
    for (const std::string& file : files)
        try {
            const Description description = describe(file);
            if (json)
                array.push_back(description.json);
            else {
                if (&file != &files.front())
                    console::out() << '\n';
                printText(description);
            }
        } catch (const loader::Error& error) {
            if (files.size() == 1)
                throw;
            console::error(error.what());
            status = 1;
        }
    if (json)
        console::printJson(files.size() == 1 ? array.front() : array);
    return status;
}

} // namespace

void addInfo(CLI::App& app, int& status) {
    auto* verb = app.add_subcommand("info", "describe products and their layers");
    verb->footer("Several products make a JSON array; products that cannot be opened are reported "
                 "and left out.\n\nExamples:\n"
                 "  rfsar info product.xml\n"
                 "  rfsar info --json */metadata/product.xml");
    auto files = keptOptions<std::vector<std::string>>(*verb);
    verb->add_option("FILE", *files, "products")->required();
    auto* json = verb->add_flag("--json")->description("print JSON");
    verb->callback([files, json, &status] { status = describeAll(*files, json->count() > 0); });
}
