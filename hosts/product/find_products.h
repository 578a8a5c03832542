// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace product {

struct FoundProduct {
    std::string file; ///< absolute: what findProduct takes, a product file or an archive
    bool named;       ///< by the user; otherwise found in a folder, among other files
};

struct ProductSearch {
    /// Tells whether a file is known to be a product, so that the search need not open it. May be
    /// empty.
    std::function<bool(const std::string& file)> known;
    /// Receives a remark for each folder that cannot be read or holds no product.
    std::function<void(const std::string& remark)> remark;
};

/// Finds all products in and below what a user names. Folders of any depth, local or virtual, are
/// searched; any other entry is taken as a product without a check. Folders with the results of
/// `rfsar batch` are skipped. Opens no files except JSON files, for a quick look, so an archive or
/// a JSON file from a folder may turn out to be no product (isForeign).
/// @return sorted by folder, each once, in the order of the entries.
std::vector<FoundProduct> findProducts(const std::vector<std::string>& entries,
                                       const ProductSearch& search);

/// @return whether an archive or JSON file found in a folder is intact but no product.
bool isForeign(const std::string& file);

} // namespace product
