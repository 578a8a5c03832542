// SPDX-License-Identifier: MIT
#include "ktxt/ktxt.h"

#include "kerr/kerr.h"

#include <boost/locale/encoding_utf.hpp>
#include <boost/locale/utf.hpp>

#include <limits>

namespace ktxt {
namespace {

template <class To, class From>
std::basic_string<To> convert(std::basic_string_view<From> text, const char* complaint) {
    try {
        return boost::locale::conv::utf_to_utf<To>(text.data(), text.data() + text.size(),
                                                   boost::locale::conv::stop);
    } catch (const boost::locale::conv::conversion_error&) {
        throw TolvanLog::Exception(complaint);
    }
}

} // namespace

std::u16string widen(std::string_view text) {
    return convert<char16_t>(text, "text is not valid UTF-8");
}

std::string narrow(std::u16string_view text) {
    return convert<char>(text, "text is not valid UTF-16");
}

std::u16string widenLossy(std::string_view text) {
    namespace utf = boost::locale::utf;
    std::u16string wide;
    wide.reserve(text.size());
    for (auto at = text.begin(); at != text.end();) {
        const auto start = at;
        auto point = utf::utf_traits<char>::decode(at, text.end());
        if (point == utf::illegal || point == utf::incomplete) {
            point = 0xFFFD;
            at = start + 1;
        }
        utf::utf_traits<char16_t>::encode(point, std::back_inserter(wide));
    }
    return wide;
}

} // namespace ktxt

long ktxt_Text_atol(std::u16string_view text) {
    std::size_t at = 0;
    const bool negative = !text.empty() && text[0] == u'-';
    if (negative || (!text.empty() && text[0] == u'+'))
        ++at;
    constexpr long limit = std::numeric_limits<long>::max();
    long value = 0;
    for (; at < text.size() && text[at] >= u'0' && text[at] <= u'9'; ++at) {
        const long digit = text[at] - u'0';
        if (value > (limit - digit) / 10)
            return negative ? -limit : limit;
        value = value * 10 + digit;
    }
    return negative ? -value : value;
}

int ktxt_Text_strcmp(std::u16string_view a, std::u16string_view b) {
    return a.compare(b);
}
