// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace kimg {

/// @param path  an elevation model's file, or a folder of them.
/// @return the file, or the folder's files with an extension of elevation models, sorted.
/// @throws ImageError when the folder holds none.
std::vector<std::string> elevationFilesOf(const std::string& path);

} // namespace kimg
