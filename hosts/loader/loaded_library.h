// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace loader {

/// @return the file that a library of this process was loaded from, links resolved; empty when no
///         library of that file name, with or without a version ("x.so.1.2"), is loaded.
std::string loadedLibrary(const std::string& fileName);

} // namespace loader
