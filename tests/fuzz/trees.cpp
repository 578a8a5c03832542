// SPDX-License-Identifier: MIT
// Property trees of XML and JSON documents, and the bounds of their depth.
#include "fuzz/memory_folder.h"
#include "fuzz/require.h"
#include "kfio/product_tree.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <algorithm>

namespace {

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
        fuzz::require(error.filename() == file, "errors name the file");
        return;
    }
    // What holds nothing, a number, is an element of the tree but no level of its own.
    fuzz::require(depthOf(tree) <= kfio::maximumDocumentDepth + 1, "no level goes uncounted");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    const fuzz::MemoryFolder folder;
    const std::string file = folder.write("document", text);
    readBounded(file, [](const std::string& name) { return kfio::readXmlTree(name); });
    readBounded(file, [](const std::string& name) { return kfio::readJsonTree(name); });
    return 0;
}
