// Property trees of XML and JSON documents, and the guard in front of their parsers.
#include "fuzz/memory_folder.h"
#include "fuzz/require.h"
#include "kfio/document_depth.h"
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

/// The parsers recurse as deep as the document nests: the guard must not miss a level.
template <class Read>
void readGuarded(const std::string& file, std::size_t stated, const Read& read) {
    ProductTree tree;
    try {
        tree = read(file);
    } catch (const boost::property_tree::file_parser_error& error) {
        fuzz::require(error.filename() == file, "errors name the file");
        return;
    }
    fuzz::require(depthOf(tree) <= stated, "the guard sees every level");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    const fuzz::MemoryFolder folder;
    const std::string file = folder.write("document", text);
    // What holds nothing, "<a/>" and a number, is an element of the tree but no level of its own.
    readGuarded(file, kfio::xmlDepth(text) + 1,
                [](const std::string& name) { return kfio::readXmlTree(name); });
    readGuarded(file, kfio::jsonDepth(text) + 1,
                [](const std::string& name) { return kfio::readJsonTree(name); });
    return 0;
}
