// SPDX-License-Identifier: MIT
#include "lmx/message_text.h"

#include <boost/locale/utf.hpp>

namespace lmx {

std::string shown(std::string_view text, std::size_t maxCharacters) {
    namespace utf = boost::locale::utf;
    std::string line;
    auto next = text.begin();
    for (std::size_t count = 0; next != text.end(); ++count) {
        if (count == maxCharacters)
            return line + "...";
        const auto begin = next;
        const auto code = utf::utf_traits<char>::decode(next, text.end());
        if (code == utf::illegal || code == utf::incomplete) {
            line += '?';
            next = begin + 1;
        } else if (code < 0x20 || code == 0x7F) {
            line += ' ';
        } else {
            line.append(begin, next);
        }
    }
    return line;
}

} // namespace lmx
