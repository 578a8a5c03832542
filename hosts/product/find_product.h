// SPDX-License-Identifier: MIT
#pragma once

#include "loader/plugin.h"

#include <string>

namespace product {

/// An intact folder or archive that holds no product.
class NoProduct : public loader::Error {
public:
    using loader::Error::Error;
};

/// Finds the product file for what a user names: a folder, `manifest.safe`, a `.zip` as downloaded,
/// or the product file itself; local or virtual.
/// @return the product file's name; any other file is returned unchanged.
/// @throws NoProduct naming the entry when it holds no product; loader::Error when it does not
///         exist or holds several.
std::string findProduct(const std::string& entry);

} // namespace product
