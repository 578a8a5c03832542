// SPDX-License-Identifier: MIT
#pragma once

#include "loader/plugin.h"

#include <string>

namespace product {

/// A folder or archive, sound as it is, that holds no product.
class NoProduct : public loader::Error {
public:
    using loader::Error::Error;
};

/// Finds the file that the plug-in reads behind what a user names: a folder, `manifest.safe`, a
/// `.zip` as downloaded, or the product file itself; local or virtual.
/// @return the product file's name; a file that is none of the above is returned as it is.
/// @throws NoProduct naming the entry when it holds none; loader::Error when it does not exist, or
///         holds several.
std::string findProduct(const std::string& entry);

} // namespace product
