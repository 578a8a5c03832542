#include "kfio/xml_tree.h"

// Boost offers its XML parser proper only behind a stream, character by character.
#include <boost/property_tree/detail/rapidxml.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>
#include <memory>

namespace kfio {
namespace {

namespace pt = boost::property_tree;
namespace rapidxml = boost::property_tree::detail::rapidxml;
using Node = rapidxml::xml_node<char>;

ProductTree& append(ProductTree& tree, std::string name) {
    static const ProductTree empty;
    return tree.push_back({std::move(name), empty})->second;
}

void addAttributes(const Node& element, ProductTree& tree) {
    if (!element.first_attribute())
        return;
    ProductTree& attributes = append(tree, "<xmlattr>");
    for (const auto* each = element.first_attribute(); each; each = each->next_attribute())
        append(attributes, {each->name(), each->name_size()})
            .data()
            .assign(each->value(), each->value_size());
}

void addChildren(const Node& parent, std::string_view leaveOut, ProductTree& tree) {
    for (const Node* child = parent.first_node(); child; child = child->next_sibling())
        switch (child->type()) {
        case rapidxml::node_element: {
            if (std::string_view(child->name(), child->name_size()) == leaveOut)
                break;
            ProductTree& element = append(tree, {child->name(), child->name_size()});
            addAttributes(*child, element);
            addChildren(*child, leaveOut, element);
            break;
        }
        case rapidxml::node_data:
        case rapidxml::node_cdata:
            tree.data().append(child->value(), child->value_size());
            break;
        case rapidxml::node_comment:
            append(tree, "<xmlcomment>").data().assign(child->value(), child->value_size());
            break;
        default:
            break;
        }
}

} // namespace

// cppcheck-suppress passedByValue ; it is parsed in place
ProductTree buildXmlTree(std::string text, std::string_view leaveOut) {
    const auto document = std::make_unique<rapidxml::xml_document<char>>(); // holds 64 KiB
    try {
        document->parse<rapidxml::parse_comment_nodes>(text.data());
    } catch (const rapidxml::parse_error& error) {
        const auto line = 1 + std::count(text.data(), error.where<char>(), '\n');
        throw pt::xml_parser_error(error.what(), "", static_cast<unsigned long>(line));
    }
    ProductTree tree;
    addChildren(*document, leaveOut, tree);
    return tree;
}

} // namespace kfio
