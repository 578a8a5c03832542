// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/product_tree.h"
#include "product/families/stated_product.h"

#include <span>
#include <string_view>

namespace product {

/// A product file, read once.
struct Document {
    std::string file;       ///< as it was opened
    std::string text;       ///< of XML files
    kfio::ProductTree tree; ///< of XML files without the elements that Family::leftOut names
};

/// Whether the first bytes of a file are those of a family's product file.
enum class Likeness {
    no,
    yes,
    unknown, ///< more bytes would tell
};

/// What identifies a family of products before one of them is open.
struct Family {
    /// The extension of product files, in lower case, with its dot.
    std::string_view extension;
    /// Possible paths of the product file below a product's folder; empty if the file's name is not
    /// fixed.
    std::span<const std::string_view> places;
    /// @param names  of all files of a folder.
    /// @return those that are product files. The pointer is null if `places` is used instead.
    std::vector<std::string> (*productsAmong)(const std::vector<std::string>& names);
    /// Judges by the first bytes; parses nothing.
    Likeness (*looksLike)(std::string_view head);
    int headBytes; ///< as many as looksLike() may need
    /// @return what the product states; null for a document of another family.
    /// @throws loader::Error or a property tree's error.
    std::unique_ptr<const StatedProduct> (*read)(Document& document);
};

/// @return all families, in the order in which they are asked.
std::span<const Family* const> families();

} // namespace product
