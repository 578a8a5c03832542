// SPDX-License-Identifier: MIT
#include "kfio/product_tree.h"

#include "kfio/kfio.h"
#include "kfio/xml_tree.h"

#include <boost/iostreams/device/array.hpp>
#include <boost/iostreams/stream.hpp>
#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/xml_parser.hpp>

namespace kfio {
namespace {

namespace pt = boost::property_tree;

template <class Error>
std::string readText(const std::string& name) {
    std::string reason;
    auto text = readDocument(name, reason);
    if (!text)
        throw Error("cannot open file (" + reason + ")", name, 0);
    return *std::move(text);
}

/// Parse errors have the line but not the file: this rethrows them with the file.
template <class Error, class Parse>
ProductTree parse(const std::string& name, std::string_view text, Parse parseText) {
    try {
        return parseText(text);
    } catch (const Error& error) {
        throw Error(error.message(), name, error.line());
    }
}

/// The parser recurses, so the document is measured first.
ProductTree buildJsonTree(std::string_view text) {
    if (tolvan::jsonlib::depthOf(text) > maximumDocumentDepth)
        throw pt::json_parser_error("nests deeper than " + std::to_string(maximumDocumentDepth) +
                                        " levels",
                                    "", 0);
    if (tolvan::jsonlib::itemsOf(text) > maximumDocumentItems)
        throw pt::json_parser_error("holds more than " + std::to_string(maximumDocumentItems) +
                                        " elements and attributes, or values",
                                    "", 0);
    boost::iostreams::stream<boost::iostreams::array_source> stream(text.data(), text.size());
    ProductTree tree;
    pt::read_json(stream, tree);
    return tree;
}

} // namespace

std::string readXmlText(const std::string& name) {
    return readText<pt::xml_parser_error>(name);
}

ProductTree parseXmlTree(std::string_view text, const std::string& name,
                         std::string_view leaveOut) {
    return parse<pt::xml_parser_error>(name, text, [leaveOut](std::string_view whole) {
        return buildXmlTree(whole, leaveOut);
    });
}

ProductTree readXmlTree(const std::string& name, std::string_view leaveOut) {
    return parseXmlTree(readXmlText(name), name, leaveOut);
}

ProductTree readJsonTree(const std::string& name) {
    return parse<pt::json_parser_error>(name, readText<pt::json_parser_error>(name),
                                        buildJsonTree);
}

} // namespace kfio
