// SPDX-License-Identifier: MIT
#include "kmif/kmif_design.h"

#include "kstr/kstr.h"
#include "ktxt/ktxt.h"

#include <limits>
#include <set>

using tolvan::jsonlib::quoted;
using tolvan::jsonlib::Reader;
using tolvan::jsonlib::Value;

namespace kmif {
namespace {

std::string fieldText(const PlacedField& field) {
    std::string text =
        "{\"code\":" + std::to_string(field.code) + ",\"name\":" + quoted(field.name);
    if (field.hasCount())
        text += ",\"count\":" + std::to_string(field.count);
    if (field.nested)
        text += ",\"design\":" + designText(*field.nested);
    return text + "}";
}

std::string joined(const std::vector<std::string>& parts) {
    std::string text;
    for (const std::string& part : parts)
        text += (text.empty() ? "" : ",") + part;
    return "[" + text + "]";
}

/// A field read from text, owning what KmifField only points to.
struct ReadField {
    int code = 0;
    std::string name;
    std::size_t count = 1;
    std::unique_ptr<KmifDesign> nested;
};

std::int64_t numberIn(const Value& object, std::string_view key, std::int64_t limit) {
    const std::int64_t number = object[key].asInt64();
    if (number < 1 || number > limit)
        throw TolvanLog::Exception(std::string(key) + " is out of range");
    return number;
}

ReadField fieldFrom(const Value& object) {
    std::vector<std::string> members{"code", "name"};
    ReadField field;
    if (object.isMember("count")) {
        members.emplace_back("count");
        field.count = static_cast<std::size_t>(numberIn(object, "count", kmifMaxStructureBytes));
    }
    if (object.isMember("design")) {
        members.emplace_back("design");
        field.nested = designFrom(object["design"]);
    }
    requireMembers(object, members);
    field.code =
        static_cast<int>(numberIn(object, "code", std::numeric_limits<std::int32_t>::max()));
    field.name = object["name"].asString();
    return field;
}

} // namespace

std::string designText(const KmifDesign& design) {
    std::vector<std::string> fields;
    for (const PlacedField& field : design.fields)
        fields.push_back(fieldText(field));
    return "{\"name\":" + quoted(design.name) + ",\"fields\":" + joined(fields) + "}";
}

std::unique_ptr<KmifDesign> designFrom(const Value& object) {
    requireMembers(object, std::vector<std::string>{"name", "fields"});
    std::vector<ReadField> read;
    for (const Value& field : object["fields"].elements())
        read.push_back(fieldFrom(field));
    std::vector<KmifField> fields;
    fields.reserve(read.size());
    for (const ReadField& field : read)
        fields.push_back({field.code, field.name, field.count, field.nested.get()});
    return makeDesign(object["name"].asString(), fields);
}

Value parse(std::string_view text) {
    Reader reader;
    Value value;
    if (!reader.parse(text, value, false))
        throw TolvanLog::Exception(reader.formattedErrorMessages());
    return value;
}

Value parseKmif(std::string_view text) {
    Value document = parse(text);
    if (!document.isMember("kmif") || document["kmif"].asInt64() != 1)
        throw TolvanLog::Exception("text is not a self-describing record of version 1");
    return document;
}

void requireMembers(const Value& object, std::span<const std::string> names) {
    if (!object.isObject())
        throw TolvanLog::Exception("JSON object expected");
    for (const std::string& name : names) {
        if (!object.isMember(name))
            throw TolvanLog::Exception("member " + name + " is missing");
    }
    if (object.size() == names.size())
        return;
    const std::set<std::string_view> known(names.begin(), names.end());
    for (const std::string& name : object.memberNames()) {
        if (!known.contains(name))
            throw TolvanLog::Exception("member " + name + " is unknown");
    }
}

} // namespace kmif

char16_t* kmif_DictionaryEncodeToString(const KmifDictionary* dictionary, KERR_REPORT** slot) {
    return kerr::reported(__func__, slot, [&] {
        if (!dictionary)
            throw TolvanLog::Exception("no dictionary");
        std::vector<std::string> designs;
        for (const auto& design : dictionary->designs)
            designs.push_back(kmif::designText(*design));
        char16_t* text =
            kstr_Duplicate(ktxt::widen("{\"kmif\":1,\"designs\":" + kmif::joined(designs) + "}"));
        if (!text)
            throw std::bad_alloc();
        return text;
    });
}

KmifDictionary* kmif_DictionaryDecodeFromString(std::u16string_view text, KERR_REPORT** slot) {
    return kerr::reported(__func__, slot, [&] {
        const Value document = kmif::parseKmif(ktxt::narrow(text));
        kmif::requireMembers(document, std::vector<std::string>{"kmif", "designs"});
        if (!document["designs"].isArray())
            throw TolvanLog::Exception("designs is not an array");
        auto dictionary = std::make_unique<KmifDictionary>();
        for (const Value& object : document["designs"].elements()) {
            const auto design = kmif::designFrom(object);
            if (dictionary->find(design->name))
                throw TolvanLog::Exception("two designs are named " + design->name);
            dictionary->add(*design);
        }
        return dictionary.release();
    });
}
