// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace lmx {

/// Text of a document as messages show it: one line of valid UTF-8 without control characters, cut
/// behind so many characters. Private to the runtime.
std::string shown(std::string_view text, std::size_t maxCharacters = 40);

} // namespace lmx
