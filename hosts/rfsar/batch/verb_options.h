// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace batch {

/// Removes from a verb the arguments that a batch sets itself: file, output, JSON and --force.
/// @return false for a verb that does not take one product and give one result.
bool leaveOptionsOnly(CLI::App& verb, bool& printsResult);

/// @return the given options, as words of an equivalent command line.
std::vector<std::string> givenOptions(const CLI::App& verb);

} // namespace batch
