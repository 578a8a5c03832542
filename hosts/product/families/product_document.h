#pragma once

#include "kfio/product_tree.h"

#include <string>

namespace product {

/// A product's metadata, parsed once for all that is read from it. A value.
struct ProductDocument {
    enum class Kind { radarsat2, rcm, capella };

    Kind kind = Kind::capella;
    std::string file;           ///< RADARSAT-2, RCM: product.xml; Capella: the item, or the
                                ///< extended document where there is no item
    kfio::ProductTree root;     ///< the element `product`; for Capella the item, else empty
    std::string extendedFile;   ///< Capella: where the extended document is expected
    kfio::ProductTree extended; ///< Capella: the extended document, empty when there is none
    std::string fault;          ///< why an extended document that is there could not be read

    /// @return the folder of `file` with its last separator.
    std::string folder() const;
};

/// Reads what belongs to a product file that the plug-in has opened (.xml or .json).
/// @throws loader::Error naming the file when it cannot be read.
ProductDocument readDocument(const std::string& productFile);

/// @param file  the product's folder and a name that the product gives.
/// @return whether neither the name nor links lead it out of the product.
bool isOwnFile(const ProductDocument& document, const std::string& file);

/// Reads an XML file that the product names.
/// @throws loader::Error naming the file when it cannot be read, or its name leaves the product.
kfio::ProductTree readTable(const ProductDocument& document, const std::string& file);

/// @return the text at a path of names joined by "/", "" when it is not there. JSON keys may hold
///         dots and colons.
std::string textAt(const kfio::ProductTree& tree, const std::string& path);

} // namespace product
