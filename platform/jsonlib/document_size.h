// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <cstddef>
#include <string_view>

/// Measures depth and size of a JSON document in one pass without recursion, to protect parsers
/// that recurse and build trees. Malformed text gives some number; the parser reports its fault
/// afterwards. Any thread.
namespace tolvan::jsonlib {

/// Documents with more values are refused; real products have less than 40 000.
constexpr std::size_t maximumItems = 1'000'000;

/// @return the largest number of nested arrays and objects; brackets in strings do not count.
RF_PLATFORM_API std::size_t depthOf(std::string_view text);

/// @return an upper bound of the number of values: separators inside strings count too.
RF_PLATFORM_API std::size_t itemsOf(std::string_view text);

} // namespace tolvan::jsonlib
