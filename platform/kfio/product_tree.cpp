#include "kfio/product_tree.h"

#include "kfio/document_depth.h"
#include "kfio/kfio.h"
#include "kfio/xml_tree.h"

#include <boost/iostreams/device/array.hpp>
#include <boost/iostreams/stream.hpp>
#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/xml_parser.hpp>

namespace kfio {
namespace {

namespace pt = boost::property_tree;

/// What the guards measure in a kind of document.
struct Measures {
    std::size_t (*depth)(std::string_view);
    std::size_t (*items)(std::string_view);
};

template <class Error>
std::string readGuarded(const std::string& name, const Measures& measures) {
    std::string reason;
    auto text = readDocument(name, reason);
    if (!text)
        throw Error("cannot open file (" + reason + ")", name, 0);
    if (measures.depth(*text) > maximumDocumentDepth)
        throw Error("nests deeper than " + std::to_string(maximumDocumentDepth) + " levels", name,
                    0);
    if (measures.items(*text) > maximumDocumentItems)
        throw Error("holds more than " + std::to_string(maximumDocumentItems) +
                        " elements and attributes, or values",
                    name, 0);
    return *std::move(text);
}

/// Parse errors know the line but not the file: they are raised again with it.
template <class Error, class Parse>
ProductTree parse(const std::string& name, std::string text, Parse parseText) {
    try {
        return parseText(std::move(text));
    } catch (const Error& error) {
        throw Error(error.message(), name, error.line());
    }
}

ProductTree buildJsonTree(const std::string& text) {
    boost::iostreams::stream<boost::iostreams::array_source> stream(text.data(), text.size());
    ProductTree tree;
    pt::read_json(stream, tree);
    return tree;
}

} // namespace

std::string readXmlText(const std::string& name) {
    return readGuarded<pt::xml_parser_error>(name, {xmlDepth, xmlItems});
}

ProductTree parseXmlTree(std::string text, const std::string& name, std::string_view leaveOut) {
    return parse<pt::xml_parser_error>(name, std::move(text), [leaveOut](std::string whole) {
        return buildXmlTree(std::move(whole), leaveOut);
    });
}

ProductTree readXmlTree(const std::string& name, std::string_view leaveOut) {
    return parseXmlTree(readXmlText(name), name, leaveOut);
}

ProductTree readJsonTree(const std::string& name) {
    return parse<pt::json_parser_error>(
        name, readGuarded<pt::json_parser_error>(name, {jsonDepth, jsonItems}), buildJsonTree);
}

} // namespace kfio
