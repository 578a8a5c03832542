#pragma once

#include "rf_platform_api.h"

#include <cstddef>
#include <string_view>

/// Guards in front of parsers. Those that recurse need to know how deep a document nests, found in
/// one pass without recursion; those that build trees, how much stands in it, as the shortest
/// elements and values take a hundred times their own room. Malformed text gives some depth and
/// some count; the parser behind reports what is wrong with it.

namespace kfio {

/// Deeper documents are refused; real products nest less than 12 levels.
constexpr std::size_t maximumDocumentDepth = 200;

RF_PLATFORM_API std::size_t xmlDepth(std::string_view text);
RF_PLATFORM_API std::size_t jsonDepth(std::string_view text);

/// Documents with more tags and attributes, or values, are refused; real products have less than
/// 40 000.
constexpr std::size_t maximumDocumentItems = 1'000'000;

RF_PLATFORM_API std::size_t xmlItems(std::string_view text);
RF_PLATFORM_API std::size_t jsonItems(std::string_view text);

} // namespace kfio
