// SPDX-License-Identifier: MIT
#include "metadata_element.h"

#include "kerr/kerr.h"

#include <locale>
#include <sstream>

namespace {

namespace pt = boost::property_tree;
using kfio::ProductTree;

constexpr char warner[] = "readMetadata"; // the name of logged warnings

template <class Number>
using PlainTranslator =
    pt::stream_translator<char, std::char_traits<char>, std::allocator<char>, Number>;

template <class Number>
boost::optional<Number> convertText(const ProductTree& tree) {
    return tree.get_value_optional<Number>(PlainTranslator<Number>(std::locale::classic()));
}

/// Formats a text for a message.
std::string quoted(const std::string& text) {
    constexpr std::size_t longest = 60;
    return '"' + (text.size() > longest ? text.substr(0, longest) + "..." : text) + '"';
}

} // namespace

std::string MetadataElement::fullPath(const char* path) const {
    return path_ + (path_.empty() || *path == '\0' ? "" : ".") + path;
}

std::string MetadataElement::place(const char* path) const {
    return *file_ + ": " + fullPath(path);
}

MetadataElement MetadataElement::child(const char* path) const {
    if (const auto found = tree_->get_child_optional(path))
        return MetadataElement(*this, *found, fullPath(path));
    throw pt::ptree_bad_path(*file_ + ": No such node", ProductTree::path_type(fullPath(path)));
}

std::string MetadataElement::indexedPath(const std::string& name, std::size_t index) const {
    return fullPath(name.c_str()) + '[' + std::to_string(index) + ']';
}

std::vector<MetadataElement> MetadataElement::children(const std::string& name) const {
    std::vector<MetadataElement> found;
    for (const auto& [key, tree] : *tree_)
        if (key == name)
            found.push_back(MetadataElement(*this, tree, indexedPath(name, found.size())));
    return found;
}

MetadataElement MetadataElement::child(const std::string& name, std::size_t index) const {
    std::size_t seen = 0;
    for (const auto& [key, tree] : *tree_)
        if (key == name && seen++ == index)
            return MetadataElement(*this, tree, indexedPath(name, index));
    throw pt::ptree_bad_path(*file_ + ": No such node",
                             ProductTree::path_type(indexedPath(name, index)));
}

const std::string& MetadataElement::text(const char* path) const {
    return child(path).tree_->data();
}

std::string MetadataElement::text(const char* path, const std::string& fallback) const {
    return tree_->get(path, fallback);
}

bool MetadataElement::has(const char* path) const {
    return static_cast<bool>(tree_->get_child_optional(path));
}

template <class Number>
Number MetadataElement::convert(const char* path, const char* typeName) const {
    const MetadataElement found = child(path);
    if (const auto number = convertText<Number>(*found.tree_))
        return *number;
    const std::string& text = found.tree_->data();
    throw pt::ptree_bad_data(place(path) + " is " + quoted(text) +
                                 ": conversion of data to type \"" + typeName + "\" failed",
                             text);
}

double MetadataElement::number(const char* path) const {
    return convert<double>(path, "double");
}

double MetadataElement::number(const char* path, double fallback) const {
    const auto found = tree_->get_child_optional(path);
    if (!found || found->data() == "null")
        return fallback;
    const auto number = convertText<double>(*found);
    if (!number)
        TolvanLog::Write(warner, kerrWarning,
                         place(path) + " is " + quoted(found->data()) +
                             ", which is no number; taken as " + std::to_string(fallback));
    return number.value_or(fallback);
}

std::int32_t MetadataElement::imageSize(const char* path) const {
    const auto size = convert<std::int32_t>(path, "int");
    if (size < 1)
        throw pt::ptree_bad_data(
            place(path) + " is " + std::to_string(size) + ", which is no size of an image", size);
    return size;
}

std::vector<double> MetadataElement::numbers(const char* path) const {
    std::istringstream stream(text(path));
    stream.imbue(std::locale::classic());
    std::vector<double> read;
    for (double number = 0; stream >> number;)
        read.push_back(number);
    stream.clear();
    if (std::string rest; stream >> rest)
        TolvanLog::Write(warner, kerrWarning,
                         place(path) + " has text that is no number behind its first " +
                             std::to_string(read.size()) + "; the rest is left out");
    return read;
}

TimeStamp MetadataElement::time(const char* path, TimeParser parse) const {
    const std::string& written = text(path);
    if (const auto stamp = parse(written))
        return *stamp;
    throw pt::ptree_bad_data(place(path) + " is " + quoted(written) + ", which is no time",
                             written);
}
