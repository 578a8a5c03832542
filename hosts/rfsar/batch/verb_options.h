// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace batch {

/// Takes away from a verb what a batch sets itself: its file, output, JSON and --force.
/// @return false for a verb that does not take one product and give one result.
bool leaveOptionsOnly(CLI::App& verb, bool& printsResult);

/// @return the options that were given, as words of a command line that means the same.
std::vector<std::string> givenOptions(const CLI::App& verb);

} // namespace batch
