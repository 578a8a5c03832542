// SPDX-License-Identifier: MIT
#include "batch/row_text.h"

#include <nlohmann/json.hpp>

#include <array>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace batch {
namespace {

using nlohmann::ordered_json;

constexpr std::array columns = {"/file",
                                "/format",
                                "/satellite",
                                "/productType",
                                "/productId",
                                "/start",
                                "/stop",
                                "/beamMode",
                                "/polarizations",
                                "/orbitDirection",
                                "/lookSide",
                                "/incidenceDeg/near",
                                "/incidenceDeg/centre",
                                "/incidenceDeg/far",
                                "/footprint",
                                "/error"};

/// The name of a column: "incidenceDegNear" for /incidenceDeg/near.
std::string columnName(std::string_view pointer) {
    std::string name;
    bool raise = false;
    for (const char c : pointer.substr(1)) {
        if (c != '/')
            name += raise ? static_cast<char>(c - 'a' + 'A') : c;
        raise = c == '/';
    }
    return name;
}

/// A polygon of GeoJSON as well-known text.
std::string wellKnownText(const ordered_json& geometry) {
    const auto polygon = [](const ordered_json& rings) {
        std::ostringstream text;
        text << std::setprecision(10);
        for (const auto& ring : rings) {
            text << (&ring == &rings[0] ? "((" : ", (");
            for (const auto& point : ring)
                text << (&point == &ring[0] ? "" : ", ") << point[0].get<double>() << ' '
                     << point[1].get<double>();
            text << ')';
        }
        return text.str() + ')';
    };
    const ordered_json& coordinates = geometry["coordinates"];
    if (geometry["type"] == "Polygon")
        return "POLYGON " + polygon(coordinates);
    std::string text;
    for (const auto& part : coordinates)
        text += (text.empty() ? "MULTIPOLYGON (" : ", ") + polygon(part);
    return text + ')';
}

std::string plain(const ordered_json& value) {
    if (value.is_string())
        return value.get<std::string>();
    if (value.is_object())
        return wellKnownText(value);
    if (!value.is_array())
        return value.is_null() ? "" : value.dump();
    std::string text;
    for (const auto& each : value)
        text += (text.empty() ? "" : " ") + plain(each);
    return text;
}

std::string at(const ordered_json& row, const char* pointer) {
    const ordered_json::json_pointer path(pointer);
    return row.contains(path) ? plain(row[path]) : "";
}

/// As RFC 4180 has it.
std::string csv(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (const char c : text)
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    return quoted + '"';
}

void printCsv(const ordered_json& row) {
    for (const char* column : columns)
        std::cout << (column == columns.front() ? "" : ",") << csv(at(row, column));
    std::cout << '\n';
}

void printText(const ordered_json& row) {
    if (row.contains("error")) {
        std::cout << "damaged: " << at(row, "/error") << "  " << at(row, "/file") << '\n';
        return;
    }
    const auto cell = [&](const char* pointer, int width) {
        const std::string text = at(row, pointer);
        std::cout << std::left << std::setw(width) << (text.empty() ? "-" : text) << ' ';
    };
    std::cout << std::left << std::setw(19) << at(row, "/start").substr(0, 19) << ' ';
    cell("/satellite", 12);
    cell("/productType", 4);
    cell("/beamMode", 12);
    cell("/polarizations", 11);
    cell("/orbitDirection", 10);
    cell("/lookSide", 5);
    std::cout << ' ' << at(row, "/file") << '\n';
}

} // namespace

RowPrinter::RowPrinter(RowStyle style) : style_(style) {
    if (style_ != RowStyle::csv)
        return;
    for (const char* column : columns)
        std::cout << (column == columns.front() ? "" : ",") << columnName(column);
    std::cout << '\n';
}

void RowPrinter::print(const ordered_json& row) {
    switch (style_) {
    case RowStyle::json:
        std::cout << (count_ == 0 ? "[\n  " : ",\n  ")
                  << row.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
        break;
    case RowStyle::csv:
        printCsv(row);
        break;
    case RowStyle::files:
        std::cout << at(row, "/file") << '\n';
        break;
    case RowStyle::text:
        printText(row);
        break;
    }
    ++count_;
}

void RowPrinter::finish() const {
    if (style_ == RowStyle::json)
        std::cout << (count_ == 0 ? "[]\n" : "\n]\n");
}

} // namespace batch
