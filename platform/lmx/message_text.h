// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace lmx {

/// Formats a document's text for messages: one line of valid UTF-8 without control characters, cut
/// after maxCharacters. Private to the runtime.
std::string shown(std::string_view text, std::size_t maxCharacters = 40);

} // namespace lmx
