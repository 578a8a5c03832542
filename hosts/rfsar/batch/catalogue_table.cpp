// SPDX-License-Identifier: MIT
#include "batch/catalogue_table.h"

#include "loader/plugin.h"

#include <nlohmann/json.hpp>

namespace batch {
namespace {

using kimg::FieldType;
using nlohmann::ordered_json;

struct Column {
    const char* name;
    FieldType type;
    const char* pointer; ///< in a row
};

constexpr Column columns[] = {
    {"file", FieldType::text, "/file"},
    {"product_id", FieldType::text, "/productId"},
    {"satellite", FieldType::text, "/satellite"},
    {"format", FieldType::text, "/format"},
    {"product_type", FieldType::text, "/productType"},
    {"beam_mode", FieldType::text, "/beamMode"},
    {"polarizations", FieldType::text, "/polarizations"},
    {"start", FieldType::time, "/start"},
    {"stop", FieldType::time, "/stop"},
    {"orbit_direction", FieldType::text, "/orbitDirection"},
    {"look_side", FieldType::text, "/lookSide"},
    {"incidence_near", FieldType::real, "/incidenceDeg/near"},
    {"incidence_centre", FieldType::real, "/incidenceDeg/centre"},
    {"incidence_far", FieldType::real, "/incidenceDeg/far"},
    {"bytes", FieldType::integer, "/bytes"},
    {"modified", FieldType::time, "/modified"},
    {"modified_ns", FieldType::integer, "/modifiedNs"},
    {"checked", FieldType::text, "/checked"},
    {"vanished", FieldType::flag, "/vanished"},
    {"error", FieldType::text, "/error"},
};

kimg::FieldValue valueOf(const ordered_json& json) {
    if (json.is_string())
        return json.get<std::string>();
    if (json.is_boolean())
        return std::int64_t{json.get<bool>()};
    if (json.is_number_integer())
        return json.get<std::int64_t>();
    if (json.is_number())
        return json.get<double>();
    if (!json.is_array())
        return {};
    std::string words;
    for (const auto& word : json)
        words += (words.empty() ? "" : " ") + word.get<std::string>();
    return words;
}

ordered_json jsonOf(const kimg::FieldValue& value, FieldType type) {
    if (const auto* text = std::get_if<std::string>(&value))
        return *text;
    if (const auto* integer = std::get_if<std::int64_t>(&value))
        return type == FieldType::flag ? ordered_json(*integer != 0) : ordered_json(*integer);
    if (const auto* real = std::get_if<double>(&value))
        return *real;
    return nullptr;
}

ordered_json wordsOf(const std::string& text) {
    auto words = ordered_json::array();
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return words;
}

} // namespace

const std::vector<kimg::Field>& catalogueFields() {
    static const std::vector<kimg::Field> fields = [] {
        std::vector<kimg::Field> all;
        for (const Column& column : columns)
            all.push_back({column.name, column.type});
        return all;
    }();
    return fields;
}

const std::vector<std::string>& indexedFields() {
    static const std::vector<std::string> fields = {"file", "start", "product_id"};
    return fields;
}

kimg::Feature featureOf(const ordered_json& row) {
    kimg::Feature feature;
    for (const Column& column : columns) {
        const ordered_json::json_pointer path(column.pointer);
        feature.values.push_back(row.contains(path) ? valueOf(row[path]) : kimg::FieldValue());
    }
    if (!row.contains("footprint") || row["footprint"].is_null())
        return feature;
    const ordered_json& coordinates = row["footprint"]["coordinates"];
    if (row["footprint"]["type"] == "Polygon")
        feature.outline.push_back(coordinates[0].get<std::vector<std::array<double, 2>>>());
    else
        for (const auto& polygon : coordinates)
            feature.outline.push_back(polygon[0].get<std::vector<std::array<double, 2>>>());
    return feature;
}

ordered_json rowOf(const kimg::Feature& feature, const std::string& catalogue) {
    ordered_json row;
    std::size_t i = 0;
    for (const Column& column : columns)
        row[ordered_json::json_pointer(column.pointer)] = jsonOf(feature.values[i++], column.type);
    if (row["file"].is_null() || row["file"] == "")
        throw loader::Error(catalogue + ": row " + std::to_string(feature.id) +
                            " names no file; another program changed it; write the catalogue anew");
    if (row["polarizations"].is_string())
        row["polarizations"] = wordsOf(row["polarizations"].get<std::string>());
    row["footprint"] = nullptr;
    auto polygons = ordered_json::array();
    for (const auto& ring : feature.outline)
        polygons.push_back(ordered_json::array({ring}));
    if (polygons.size() == 1)
        row["footprint"] = {{"type", "Polygon"}, {"coordinates", polygons[0]}};
    else if (!polygons.empty())
        row["footprint"] = {{"type", "MultiPolygon"}, {"coordinates", polygons}};
    if (row["error"].is_null())
        row.erase("error");
    return row;
}

} // namespace batch
