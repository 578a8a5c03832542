// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace product {

struct FoundProduct {
    std::string file; ///< absolute: what findProduct takes, a product file or an archive
    bool named;       ///< by the user; otherwise met in a folder, where other files lie too
};

struct ProductSearch {
    /// Whether a file is known to be a product, so that it need not be looked into. May be empty.
    std::function<bool(const std::string& file)> known;
    /// Receives folders that cannot be read, and those that hold no product.
    std::function<void(const std::string& remark)> remark;
};

/// Finds all products in and below what a user names: folders of any depth, local or virtual;
/// everything else is taken as a product, whatever it is. Folders that hold results of
/// `rfsar batch` are passed over. Files are not opened, but for a look into JSON files: an archive
/// that was met, or a JSON file, can turn out to be none (isForeign).
/// @return sorted by folder, each once, in the order of the entries.
std::vector<FoundProduct> findProducts(const std::vector<std::string>& entries,
                                       const ProductSearch& search);

/// Whether an archive or JSON file that was met in a folder is no product, sound as it is.
bool isForeign(const std::string& file);

} // namespace product
