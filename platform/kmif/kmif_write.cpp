// SPDX-License-Identifier: MIT
#include "kmif/kmif_memory.h"
#include "kmif/kmif_node.h"

#include <charconv>
#include <cmath>

namespace {

using kmif::load;
using kmif::PlacedField;

void writeDouble(std::string& out, double value) {
    if (std::isnan(value)) {
        out += "\"NaN\"";
        return;
    }
    if (std::isinf(value)) {
        out += value < 0 ? "\"-INF\"" : "\"INF\"";
        return;
    }
    char digits[32]; // the longest shortest text has 24 characters
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    const std::string_view text(digits, static_cast<std::size_t>(end - digits));
    out += text;
    if (text.find_first_of(".e") == text.npos)
        out += ".0"; // marks it as a double, and keeps the sign of -0.0
}

void writeObject(std::string& out, const KmifDesign& design, const std::byte* structure,
                 std::string_view open, std::string_view between, std::string_view close);

void writeElement(std::string& out, const PlacedField& field, const std::byte* at) {
    switch (field.element()) {
    case kmifInt32:
        out += std::to_string(load<std::int32_t>(at));
        break;
    case kmifUint32:
        out += std::to_string(load<std::uint32_t>(at));
        break;
    case kmifInt64:
        out += std::to_string(load<std::int64_t>(at));
        break;
    case kmifFloat64:
        writeDouble(out, load<double>(at));
        break;
    default: // makeDesign lets no other code get here
        writeObject(out, *field.nested, at, "{", ", ", "}");
    }
}

void writeArray(std::string& out, const PlacedField& field, const std::byte* first,
                std::size_t count) {
    out += '[';
    for (std::size_t i = 0; i < count; ++i) {
        out += i == 0 ? "" : ", ";
        writeElement(out, field, first + i * field.elementSize());
    }
    out += ']';
}

void writeField(std::string& out, const PlacedField& field, const std::byte* structure) {
    if (field.element() == kmifText) {
        out += tolvan::jsonlib::quoted(kmif::textOf(field, structure));
    } else if (field.hasPointer()) {
        const auto [first, count] = kmif::elementsOf(field, structure);
        writeArray(out, field, first, static_cast<std::size_t>(count));
    } else if (field.form() == kmifInline) {
        writeArray(out, field, structure + field.offset, field.count);
    } else {
        writeElement(out, field, structure + field.offset);
    }
}

void writeObject(std::string& out, const KmifDesign& design, const std::byte* structure,
                 std::string_view open, std::string_view between, std::string_view close) {
    std::string_view before = open;
    for (const PlacedField& field : design.fields) {
        if (!field.isShown())
            continue;
        out += before;
        before = between;
        out += tolvan::jsonlib::quoted(field.name) + ": ";
        writeField(out, field, structure);
    }
    out += before == open ? "{}" : close;
}

} // namespace

std::string kmif_NodeToJson(const KmifNode& node) {
    if (node.empty())
        return "null";
    std::string json;
    writeObject(json, *node.design(), static_cast<const std::byte*>(node.data()), "{\n  ", ",\n  ",
                "\n}");
    return json;
}

std::string kmif_NodeToText(const KmifNode& node) {
    if (node.empty())
        return "null";
    return "{\"kmif\":1,\"design\":" + kmif::designText(*node.design()) +
           ",\"data\":" + kmif_NodeToJson(node) + "}";
}
