// SPDX-License-Identifier: MIT
#pragma once

#include "kmif/kmif_design.h"

#include <cstring>

/// Access to structures that a design describes.

namespace kmif {

template <class T>
T load(const std::byte* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

template <class T>
void store(std::byte* at, T value) {
    std::memcpy(at, &value, sizeof value);
}

/// The elements that a pointer field leads to; count is 0 when the pointer is null.
struct Elements {
    const std::byte* first;
    std::int32_t count;
};

inline Elements elementsOf(const PlacedField& field, const std::byte* structure) {
    const auto* first = load<const std::byte*>(structure + field.valuesOffset);
    return {first, first ? load<std::int32_t>(structure + field.countOffset) : 0};
}

/// @return the text of a kmifText field, up to its first NUL.
inline std::string_view textOf(const PlacedField& field, const std::byte* structure) {
    const auto* text = reinterpret_cast<const char*>(structure + field.offset);
    return {text, strnlen(text, field.count)};
}

/// Calls visit(field, structure) for every field; descends into nested fields instead of visiting
/// them.
template <class Bytes, class Visit>
void forEachField(const KmifDesign& design, Bytes* structure, const Visit& visit) {
    for (const PlacedField& field : design.fields) {
        if (!field.nested) {
            visit(field, structure);
            continue;
        }
        for (std::size_t i = 0; i < field.count; ++i)
            forEachField(*field.nested, structure + field.offset + i * field.nested->size, visit);
    }
}

} // namespace kmif
