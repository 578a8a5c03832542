// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// @return the outermost archive of a virtual path; any other path unchanged.
std::string outermostArchive(const std::string& file);
