#pragma once

#include "rf_platform_api.h"

#include <cstddef>
#include <string_view>

/// A guard in front of parsers that recurse: how deep a document nests, found in one pass without
/// recursion. Malformed text gives some depth; the parser behind reports what is wrong with it.

namespace kfio {

/// Deeper documents are refused; real products nest less than 12 levels.
constexpr std::size_t maximumDocumentDepth = 200;

RF_PLATFORM_API std::size_t xmlDepth(std::string_view text);
RF_PLATFORM_API std::size_t jsonDepth(std::string_view text);

} // namespace kfio
