#include "product/families/product_document.h"

#include "kfio/kfio.h"
#include "kfnp/kfnp.h"
#include "kstr/kstr.h"
#include "ktxt/ktxt.h"
#include "loader/plugin.h"

namespace product {
namespace {

using kfio::ProductTree;

constexpr std::string_view mark = "_extended";

bool hasExtension(const std::string& file, std::u16string_view extension) {
    return kstr_Eqic(kfnp_FileNameGetExtPart(ktxt::widen(file)), extension);
}

void readXml(ProductDocument& document) {
    ProductTree whole = kfio::readXmlTree(document.file);
    whole.get_child("product").swap(document.root); // trees do not move, they would be copied
    const bool radarsat2 = kstr_Eqic(
        ktxt::widenLossy(textAt(document.root, "sourceAttributes/satellite")), u"RADARSAT-2");
    document.kind = radarsat2 ? ProductDocument::Kind::radarsat2 : ProductDocument::Kind::rcm;
}

/// Pixels and item serve without it, so that a damaged one is only told.
void readExtendedBeside(ProductDocument& document) {
    if (!kfio::fileState(document.extendedFile).isRegularFile)
        return;
    if (kfio::linkLeavesProduct(document.file, document.extendedFile)) {
        document.fault =
            document.extendedFile + ": is a link that leaves the product's folder and is refused";
        return;
    }
    try {
        document.extended = kfio::readJsonTree(document.extendedFile);
    } catch (const boost::property_tree::ptree_error& error) {
        document.fault = error.what();
    }
}

/// The item leads to the extended document beside it; where the extended one was named, its item,
/// when it is there, is what the plug-in reads.
void readJson(ProductDocument& document) {
    document.kind = ProductDocument::Kind::capella;
    ProductTree named = kfio::readJsonTree(document.file);
    if (named.count("properties") != 0) {
        document.root.swap(named);
        document.extendedFile = document.file;
        document.extendedFile.insert(document.file.rfind('.'), mark);
        readExtendedBeside(document);
        return;
    }
    document.extended.swap(named);
    document.extendedFile = document.file;
    std::string item = document.file;
    if (const auto at = item.find(mark, item.rfind('/') + 1); at != std::string::npos)
        item.erase(at, mark.size());
    if (item != document.file && kfio::fileState(item).isRegularFile) {
        document.file = item;
        document.root = kfio::readJsonTree(item);
    }
}

} // namespace

std::string ProductDocument::folder() const {
    return file.substr(0, file.rfind('/') + 1);
}

ProductDocument readDocument(const std::string& productFile) {
    ProductDocument document;
    document.file = productFile;
    try {
        if (hasExtension(productFile, u".xml"))
            readXml(document);
        else
            readJson(document);
    } catch (const boost::property_tree::ptree_error& error) {
        throw loader::Error(productFile + ": " + error.what());
    }
    return document;
}

bool isOwnFile(const ProductDocument& document, const std::string& file) {
    return kfnp::classifyReference(file.substr(document.folder().size())) ==
               kfnp::Reference::inside &&
           !kfio::linkLeavesProduct(document.file, file);
}

kfio::ProductTree readTable(const ProductDocument& document, const std::string& file) {
    if (!isOwnFile(document, file))
        throw loader::Error(file + ": leaves the product's folder and is refused");
    try {
        return kfio::readXmlTree(file);
    } catch (const boost::property_tree::ptree_error& error) {
        throw loader::Error(file + ": " + error.what());
    }
}

std::string textAt(const ProductTree& tree, const std::string& path) {
    return tree.get<std::string>(ProductTree::path_type(path, '/'), "");
}

} // namespace product
