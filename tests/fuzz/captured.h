// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

namespace fuzz {

/// What a program would have printed.
struct Captured {
    std::string data; ///< to stdout, by whichever road
    std::string told; ///< to stderr through its stream
};

/// Runs work with stdin, stdout and std::cerr of its own. The descriptors stay so afterwards: the
/// fuzzer itself talks through descriptor 2.
/// @param work  is handed the stream for data; may throw.
Captured captured(std::string_view input, const std::function<void(std::ostream& data)>& work);

} // namespace fuzz
