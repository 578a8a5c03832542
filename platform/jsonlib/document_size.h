// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <cstddef>
#include <string_view>

/// How deep and how large a JSON document is, found in one pass without recursion: a guard in front
/// of parsers that recurse and build trees. Malformed text gives some answer; the parser behind
/// reports what is wrong with it. Any thread.
namespace tolvan::jsonlib {

/// Documents with more values are refused; real products have less than 40 000.
constexpr std::size_t maximumItems = 1'000'000;

/// @return how many arrays and objects are open at the deepest place; brackets in texts do not
///         count.
RF_PLATFORM_API std::size_t depthOf(std::string_view text);

/// @return the number of values, or more: marks that are part of a text count too.
RF_PLATFORM_API std::size_t itemsOf(std::string_view text);

} // namespace tolvan::jsonlib
