// SPDX-License-Identifier: MIT
#include "product/families/document_text.h"
#include "product/families/family.h"

#include "kfio/kfio.h"
#include "kfnp/kfnp.h"
#include "kstr/kstr.h"
#include "ktxt/ktxt.h"

namespace product {

#define FAMILY(name) extern const Family name;
#include "product/families/registered.inc"
#undef FAMILY

namespace {

/// Tie points are most of an XML document; they are parsed when first asked for.
constexpr std::string_view leftOut = "imageTiePoint";

Document readDocument(const std::string& file) {
    Document document{file, {}, {}};
    if (kstr_Eqic(kfnp_FileNameGetExtPart(ktxt::widen(file)), u".xml")) {
        document.text = kfio::readXmlText(file);
        document.tree = kfio::parseXmlTree(document.text, file, leftOut);
    } else {
        document.tree = kfio::readJsonTree(file);
    }
    return document;
}

} // namespace

std::span<const Family* const> families() {
    static constexpr const Family* all[] = {
#define FAMILY(name) &name,
#include "product/families/registered.inc"
#undef FAMILY
    };
    return all;
}

std::unique_ptr<const StatedProduct> readStatedProduct(const std::string& productFile) {
    try {
        Document document = readDocument(productFile);
        const std::u16string extension = kfnp_FileNameGetExtPart(ktxt::widen(productFile));
        for (const Family* family : families())
            if (kstr_Eqic(extension, ktxt::widen(family->extension)))
                if (auto stated = family->read(document))
                    return stated;
    } catch (const boost::property_tree::ptree_error& error) {
        throw loader::Error(faultOf(productFile, error));
    }
    throw loader::Error(productFile + ": its document is none that is known here");
}

} // namespace product
