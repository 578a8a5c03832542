// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// The ways into the hosts that a product is sent. Bad input is told, and never does more.
namespace fuzz {

/// Through the library that all hosts share.
/// @param turn  a number made of the input: by it is chosen what takes too long for every one.
void openByLibrary(const std::string& entry, std::size_t turn);

/// By a verb of rfsar, with options.
/// @param line  one of the lines in run_verb.cpp; another one stands for any of them.
void runVerb(const std::string& entry, std::string_view line);

/// By the GDAL driver, with open options.
/// @param line  as above, of those in open_driver.cpp.
void openByDriver(const std::string& entry, std::string_view line, std::size_t turn);

/// @return the one that a line names, or else any.
template <class Lines>
std::string_view chosenOf(const Lines& lines, std::string_view line) {
    for (const std::string_view each : lines)
        if (each == line)
            return each;
    return lines[std::hash<std::string_view>()(line) % std::size(lines)];
}

} // namespace fuzz
