// SPDX-License-Identifier: MIT
#include "batch/product_row.h"

#include "batch/told.h"
#include "output/geojson.h"
#include "product/opened_product.h"
#include "product/place/footprint.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iostream>
#include <map>
#include <optional>

namespace batch {
namespace {

using nlohmann::ordered_json;

ordered_json textOrNull(const std::string& text) {
    return text.empty() ? ordered_json(nullptr) : ordered_json(text);
}

ordered_json numberOrNull(std::optional<double> number) {
    return number ? ordered_json(*number) : ordered_json(nullptr);
}

/// From the first layer that opens; if none does, from what the product states.
product::Footprint footprintOf(const product::OpenedProduct& opened) {
    for (const std::string& name : opened.layerNames()) {
        try {
            const loader::Layer layer = opened.product.openLayer(name);
            return product::footprintOf(product::Locator(opened, layer), layer.width(),
                                        layer.height());
        } catch (const loader::Error&) {
            continue; // the image is missing or has no georeferencing
        }
    }
    std::vector<product::LonLat> outline;
    for (const auto& [lon, lat] : opened.stated().outline())
        outline.push_back({lon, lat});
    product::Footprint footprint;
    if (!outline.empty())
        footprint.polygons = product::polygonsOf(outline);
    return footprint;
}

std::vector<std::string> polesOf(const product::OpenedProduct& opened) {
    std::vector<std::string> poles;
    for (const std::string& name : opened.layerNames())
        if (const std::string pole = product::parseLayerName(name).pole;
            std::find(poles.begin(), poles.end(), pole) == poles.end())
            poles.push_back(pole);
    return poles;
}

ordered_json errorRow(const std::string& file, const std::string& error) {
    return {{"file", file}, {"error", error}};
}

/// @return what a product's child found out; null where there is no product.
ordered_json rowOf(const std::string& file, const ChildOutcome& outcome,
                   const ChildLimits& limits) {
    if (outcome.end != ChildOutcome::End::exited)
        return errorRow(file, describe(outcome, limits));
    if (outcome.status == foreign)
        return nullptr;
    if (outcome.status != 0)
        return errorRow(file, readTold(outcome.err).failure);
    ordered_json row = ordered_json::parse(outcome.out, nullptr, false);
    return row.is_object() ? row : errorRow(file, "the answer of its process was cut off");
}

} // namespace

ordered_json productRow(const std::string& entry) {
    const auto opened = product::openProduct(entry);
    const product::ProductFacts& facts = opened->stated().facts();
    const product::Acquisition acquisition = opened->stated().acquisition();
    return {{"file", entry},
            {"format", opened->product.format().title},
            {"satellite", textOrNull(facts.satellite)},
            {"productType", textOrNull(facts.productType)},
            {"productId", textOrNull(acquisition.productId)},
            {"start", textOrNull(acquisition.start)},
            {"stop", textOrNull(acquisition.stop)},
            {"beamMode", textOrNull(acquisition.beamMode)},
            {"polarizations", polesOf(*opened)},
            {"orbitDirection", textOrNull(acquisition.pass)},
            {"lookSide", textOrNull(acquisition.lookSide)},
            {"incidenceDeg",
             {{"near", numberOrNull(acquisition.nearIncidenceDeg)},
              {"centre", numberOrNull(acquisition.centreIncidenceDeg)},
              {"far", numberOrNull(acquisition.farIncidenceDeg)}}},
            {"footprint", footprintJson(footprintOf(*opened))}};
}

void readRows(const RowsWork& work) {
    std::map<std::size_t, ordered_json> waiting; // null: no product
    std::size_t next = 0;
    ChildWork reading;
    reading.items = work.products.size();
    reading.atOnce = work.atOnce;
    reading.limits = work.limits;
    reading.run = [&](std::size_t item) {
        const product::FoundProduct& entry = work.products[item];
        if (!entry.named && product::isForeign(entry.file))
            return foreign;
        std::cout
            << productRow(entry.file).dump(-1, ' ', false, ordered_json::error_handler_t::replace);
        return 0;
    };
    reading.ended = [&](std::size_t item, ChildOutcome&& outcome) {
        const std::string& file = work.products[item].file;
        waiting.emplace(item, rowOf(file, outcome, work.limits));
        for (auto first = waiting.begin(); first != waiting.end() && first->first == next; ++next) {
            if (first->second.is_object())
                work.take(next, std::move(first->second));
            first = waiting.erase(first);
        }
    };
    runInChildren(reading);
}

} // namespace batch
