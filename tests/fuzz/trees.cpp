// SPDX-License-Identifier: MIT
// Property trees of XML and JSON documents, and the bounds of their depth; values of JSON.
#include "fuzz/memory_folder.h"
#include "fuzz/require.h"
#include "jsonlib/jsonlib.h"
#include "kerr/kerr.h"
#include "kfio/product_tree.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>
#include <clocale>
#include <cmath>

namespace {

using fuzz::require;
using kfio::ProductTree;

std::size_t depthOf(const ProductTree& tree) {
    std::size_t deepest = 0;
    for (const auto& [name, element] : tree)
        if (name != "<xmlattr>" && name != "<xmlcomment>")
            deepest = std::max(deepest, 1 + depthOf(element));
    return deepest;
}

template <class Read>
void readBounded(const std::string& file, const Read& read) {
    ProductTree tree;
    try {
        tree = read(file);
    } catch (const boost::property_tree::file_parser_error& error) {
        require(error.filename() == file, "errors name the file");
        return;
    }
    // What holds nothing, a number, is an element of the tree but no level of its own.
    require(depthOf(tree) <= kfio::maximumDocumentDepth + 1, "no level goes uncounted");
}

using tolvan::jsonlib::Reader;
using tolvan::jsonlib::Value;

/// A conversion to what the value is not is refused in words.
template <class Convert>
bool converts(const Convert& convert) {
    try {
        convert();
        return true;
    } catch (const TolvanLog::Exception&) {
        return false;
    }
}

/// @return all that a document holds, each value as every type that it can be.
std::string spellOut(const Value& value) {
    std::string text;
    require(!value.isBool() || converts([&] { text += value.asBool() ? "true" : "false"; }),
            "a truth value is one");
    converts([&] { text += std::to_string(value.asInt64()); });
    if (value.isNumber()) {
        const double number = value.asDouble();
        require(std::isfinite(number), "a number is finite");
        text += std::to_string(number);
    }
    converts([&] { text += tolvan::jsonlib::quoted(value.asString()); });
    text += value.comment();
    const std::vector<Value> elements = value.elements();
    for (std::size_t i = 0; i < elements.size(); ++i)
        require(value[i].size() == elements[i].size(), "an element has one place");
    for (const Value& element : elements)
        text += spellOut(element) + ",";
    for (const std::string& name : value.memberNames()) {
        require(value.isMember(name), "a member is one");
        text += name + ":" + spellOut(value[name]) + ";";
    }
    return text;
}

/// Where numbers are written with a comma, a document says the same.
void readJson(std::string_view text, bool keepComments) {
    Reader reader;
    Value value;
    const bool read = reader.parse(text, value, keepComments);
    require(read == reader.formattedErrorMessages().empty(), "a refusal has a reason");
    const std::string spelt = spellOut(value);
    for (const char* locale : {"de_DE.UTF-8", "C"})
        if (std::setlocale(LC_NUMERIC, locale) != nullptr) {
            require(reader.parse(text, value, keepComments) == read, "the locale does not matter");
            std::setlocale(LC_NUMERIC, "C");
            require(spellOut(value) == spelt, "nor does it change a value");
        }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    const fuzz::MemoryFolder folder;
    const std::string file = folder.write("document", text);
    readBounded(file, [](const std::string& name) { return kfio::readXmlTree(name); });
    readBounded(file, [](const std::string& name) { return kfio::readJsonTree(name); });
    readJson(text, size % 2 == 0);
    return 0;
}
