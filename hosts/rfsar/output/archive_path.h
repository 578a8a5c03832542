// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// @return the outermost archive that a virtual path leads into; the path itself for others.
std::string outermostArchive(const std::string& file);
