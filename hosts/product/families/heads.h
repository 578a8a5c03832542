// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

/// Helpers for families that recognise their files by the first bytes.
namespace product {

inline bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

/// @return the text after a byte order mark and white space.
inline std::string_view withoutMark(std::string_view head) {
    constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
    if (head.starts_with(utf8Mark))
        head.remove_prefix(utf8Mark.size());
    const auto begin = head.find_first_not_of(" \t\r\n");
    return begin == std::string_view::npos ? std::string_view() : head.substr(begin);
}

} // namespace product
