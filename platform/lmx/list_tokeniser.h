// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace lmx {

/// The four characters that separate list items and surround values.
inline constexpr std::string_view whiteSpace = " \t\r\n";

/// Iterates over the items of a white-space separated list. The text must outlive it.
class c_xml_list_tokeniser {
public:
    explicit c_xml_list_tokeniser(std::string_view text) : rest_(text) {}

    /// @return whether there was another item; token then views into the text.
    bool next(std::string_view& token) {
        const auto begin = rest_.find_first_not_of(whiteSpace);
        if (begin == std::string_view::npos)
            return false;
        const auto end = rest_.find_first_of(whiteSpace, begin);
        token = rest_.substr(begin, end - begin);
        rest_ = end == std::string_view::npos ? std::string_view() : rest_.substr(end);
        return true;
    }

private:
    std::string_view rest_;
};

} // namespace lmx
