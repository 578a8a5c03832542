#pragma once

#include <string>

namespace product {

/// Finds the file that the plug-in reads behind what a user names: a folder, `manifest.safe`, a
/// `.zip` as downloaded, or the product file itself; local or virtual.
/// @return the product file's name; a file that is none of the above is returned as it is.
/// @throws loader::Error naming the entry when it does not exist, or holds no product or several.
std::string findProduct(const std::string& entry);

} // namespace product
