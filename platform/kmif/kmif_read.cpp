// SPDX-License-Identifier: MIT
#include "kmif/kmif_memory.h"
#include "kmif/kmif_node.h"

#include <limits>
#include <list>

namespace {

using kmif::PlacedField;
using kmif::store;
using tolvan::jsonlib::Value;

double doubleFrom(const Value& value) {
    if (!value.isString())
        return value.asDouble();
    const std::string name = value.asString();
    if (name == "NaN")
        return std::numeric_limits<double>::quiet_NaN();
    if (name == "INF")
        return std::numeric_limits<double>::infinity();
    if (name == "-INF")
        return -std::numeric_limits<double>::infinity();
    throw TolvanLog::Exception("text \"" + name + "\" is no number");
}

template <class Int>
Int integerFrom(const Value& value) {
    const std::int64_t number = value.asInt64();
    if (number < std::numeric_limits<Int>::min() || number > std::numeric_limits<Int>::max())
        throw TolvanLog::Exception("number is out of range");
    return static_cast<Int>(number);
}

/// Builds a structure and the arrays that its pointers lead to, for kmif_NodeCreate to copy.
class Decoder {
public:
    Decoder(const KmifDesign& design, const Value& object) {
        readObject(design, object, makeBytes(design.size));
    }
    const void* structure() const { return blocks_.front().data(); }

private:
    std::byte* makeBytes(std::size_t size) { return blocks_.emplace_back(size).data(); }
    void readObject(const KmifDesign& design, const Value& object, std::byte* structure);
    void readField(const PlacedField& field, const Value& value, std::byte* structure);
    void readText(const PlacedField& field, const std::string& text, std::byte* at);
    void readPointer(const PlacedField& field, const std::vector<Value>& values,
                     std::byte* structure);
    void readElements(const PlacedField& field, const std::vector<Value>& values, std::byte* first);
    void readElement(const PlacedField& field, const Value& value, std::byte* at);

    std::list<std::vector<std::byte>> blocks_; // the structure, then its arrays
};

void Decoder::readObject(const KmifDesign& design, const Value& object, std::byte* structure) {
    std::vector<std::string> shown;
    for (const PlacedField& field : design.fields) {
        if (field.isShown())
            shown.push_back(field.name);
    }
    kmif::requireMembers(object, shown);
    for (const PlacedField& field : design.fields) {
        if (!field.isShown())
            continue;
        try {
            readField(field, object[field.name], structure);
        } catch (const TolvanLog::Exception& error) {
            throw TolvanLog::Exception(field.name + ": " + error.what());
        }
    }
}

void Decoder::readField(const PlacedField& field, const Value& value, std::byte* structure) {
    std::byte* at = structure + field.offset;
    if (field.element() == kmifText)
        return readText(field, value.asString(), at);
    if (field.form() == 0)
        return readElement(field, value, at);
    if (!value.isArray())
        throw TolvanLog::Exception("array expected");
    if (field.hasPointer())
        return readPointer(field, value.elements(), structure);
    if (value.size() != field.count)
        throw TolvanLog::Exception(std::to_string(field.count) + " elements expected, found " +
                                   std::to_string(value.size()));
    readElements(field, value.elements(), at);
}

void Decoder::readText(const PlacedField& field, const std::string& text, std::byte* at) {
    if (text.size() > field.count || text.find('\0') != text.npos)
        throw TolvanLog::Exception("text is too long or holds a NUL");
    std::memcpy(at, text.data(), text.size());
}

void Decoder::readPointer(const PlacedField& field, const std::vector<Value>& values,
                          std::byte* structure) {
    const auto count = static_cast<std::int32_t>(values.size()); // the parser counts in 32 bits
    if (field.form() == kmifCounted &&
        kmif::load<std::int32_t>(structure + field.countOffset) != count)
        throw TolvanLog::Exception("the field before it gives another count");
    std::byte* first = makeBytes(values.size() * field.elementSize());
    readElements(field, values, first);
    store(structure + field.countOffset, count);
    store(structure + field.valuesOffset, first);
}

void Decoder::readElements(const PlacedField& field, const std::vector<Value>& values,
                           std::byte* first) {
    for (const Value& value : values) {
        readElement(field, value, first);
        first += field.elementSize();
    }
}

void Decoder::readElement(const PlacedField& field, const Value& value, std::byte* at) {
    switch (field.element()) {
    case kmifInt32:
        return store(at, integerFrom<std::int32_t>(value));
    case kmifUint32:
        return store(at, integerFrom<std::uint32_t>(value));
    case kmifInt64:
        return store(at, value.asInt64());
    case kmifFloat64:
        return store(at, doubleFrom(value));
    default: // makeDesign lets no other code get here
        return readObject(*field.nested, value, at);
    }
}

} // namespace

bool kmif_NodeFromJson(const KmifDesign* design, std::string_view json, KmifNode* node,
                       KERR_REPORT** slot) {
    return kerr::reported(__func__, slot, [&] {
        if (!design)
            throw TolvanLog::Exception("no design");
        const Decoder decoder(*design, kmif::parse(json));
        return kmif_NodeCreate(decoder.structure(), design, node, slot);
    });
}

bool kmif_NodeFromText(std::string_view text, KmifNode* node, KERR_REPORT** slot) {
    return kerr::reported(__func__, slot, [&] {
        const Value document = kmif::parseKmif(text);
        kmif::requireMembers(document, std::vector<std::string>{"kmif", "design", "data"});
        const auto design = kmif::designFrom(document["design"]);
        const Decoder decoder(*design, document["data"]);
        return kmif_NodeCreate(decoder.structure(), design.get(), node, slot);
    });
}
