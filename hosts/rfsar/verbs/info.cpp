#include "output/console.h"
#include "output/geojson.h"
#include "product/checks/checks.h"
#include "product/images/raster.h"
#include "verbs/verbs.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <optional>

namespace {

using nlohmann::ordered_json;

/// The footprint of the first layer that can be opened; the others lie on the same ground.
product::Footprint footprintOf(const product::OpenedProduct& opened,
                               std::vector<std::string>& warnings) {
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

struct Description {
    ordered_json json;
    std::vector<product::LonLat> corners;
};

/// What export and geocode take beside layers.
std::vector<std::string> exportNames(const std::shared_ptr<const product::OpenedProduct>& opened) {
    std::vector<std::string> names;
    for (const product::Entry& each : product::available(opened, product::catalogue(*opened)))
        if (each.kind != product::Entry::Kind::layer)
            names.push_back(each.name);
    return names;
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
    auto images = ordered_json::array();
    for (const auto& image : facts.images)
        images.push_back({{"file", image.name}, {"pole", image.pole}});

    auto warnings = product::warnings(opened);
    if (const std::string remark = product::modelRemark(facts); !remark.empty())
        warnings.push_back(remark);
    auto layers = ordered_json::array();
    for (const std::string& name : names)
        layers.push_back(describeLayer(opened, name, warnings));
    const product::Footprint footprint = footprintOf(opened, warnings);
    ordered_json json = {
        {"file", opened.name()},
        {"format", {{"index", opened.product.formatIndex()},
                    {"title", opened.product.format().title}}},
        {"satellite", facts.satellite},
        {"productType", facts.productType},
        {"sensor", names.empty() ? "" : parsed(0).sensor},
        {"complex", complexProduct},
        {"polarizations", poles},
        {"images", images},
        {"layers", layers},
        {"exports", exportNames(whole)},
        {"nodes", opened.nodeNames()},
        {"footprint", footprintJson(footprint)},
        {"warnings", warnings}};
    return {std::move(json), footprint.corners};
}

std::string joined(const ordered_json& texts) {
    std::string line;
    for (const auto& text : texts)
        line += (line.empty() ? "" : ", ") + text.get<std::string>();
    return line;
}

void printCorners(const std::vector<product::LonLat>& corners) {
    static constexpr const char* names[] = {"first line, first sample", "first line, last sample",
                                            "last line, last sample", "last line, first sample"};
    if (corners.empty())
        return;
    std::cout << "corners        longitude, latitude\n";
    for (std::size_t i = 0; i < corners.size(); ++i) {
        std::cout << "  " << names[i] << "  ";
        if (std::isnan(corners[i].lonDeg))
            std::cout << "has no place on the ground\n";
        else
            std::cout << std::fixed << std::setprecision(6) << corners[i].lonDeg << "  "
                      << corners[i].latDeg << '\n';
    }
}

void printText(const Description& description) {
    const ordered_json& info = description.json;
    const auto text = [&](const char* key) { return info[key].get<std::string>(); };
    std::cout << "file           " << text("file") << '\n'
              << "format         " << info["format"]["title"].get<std::string>() << '\n'
              << "satellite      " << text("satellite") << '\n'
              << "product type   " << text("productType")
              << (info["complex"].get<bool>() ? " (complex)" : " (detected)") << '\n'
              << "polarizations  " << joined(info["polarizations"]) << '\n'
              << "nodes          " << joined(info["nodes"]) << '\n'
              << "layers\n";
    for (const auto& layer : info["layers"]) {
        std::cout << "  " << layer["name"].get<std::string>();
        if (!layer["width"].is_null())
            std::cout << "  " << layer["width"] << " x " << layer["height"] << "  "
                      << layer["pixelType"].get<std::string>() << ", blocks of "
                      << layer["blockWidth"] << " x " << layer["blockHeight"];
        std::cout << '\n';
    }
    std::cout << "export also    " << joined(info["exports"]) << '\n';
    printCorners(description.corners);
    for (const auto& warning : info["warnings"])
        console::warning(warning.get<std::string>());
}

} // namespace

void addInfo(CLI::App& app) {
    auto* verb = app.add_subcommand("info", "describe a product and its layers");
    auto file = std::make_shared<std::string>();
    verb->add_option("FILE", *file, "product")->required();
    auto* json = verb->add_flag("--json")->description("print JSON");
    verb->callback([file, json] {
        const Description description = describe(*file);
        if (json->count() > 0)
            console::printJson(description.json);
        else
            printText(description);
    });
}
