// SPDX-License-Identifier: MIT
#include "lmx/simple_type.h"

#include "lmx/list_tokeniser.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <locale.h>
#include <stdlib.h>

namespace lmx {

namespace {

std::string_view trimmed(std::string_view text) {
    const auto begin = text.find_first_not_of(whiteSpace);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(whiteSpace) - begin + 1);
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

std::string collapsed(std::string_view text) {
    std::string result;
    c_xml_list_tokeniser words(text);
    for (std::string_view word; words.next(word);)
        result.append(result.empty() ? "" : " ").append(word);
    return result;
}

std::size_t characters(std::string_view utf8) {
    return static_cast<std::size_t>(std::ranges::count_if(
        utf8, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

/// Numbers beyond the range of a double, which from_chars leaves to the caller: infinity or zero.
double outOfRangeDouble(std::string_view text) {
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    return strtod_l(std::string(text).c_str(), nullptr, plain);
}

bool read(std::string_view text, double& value) {
    using limits = std::numeric_limits<double>;
    if (text == "NaN")
        value = limits::quiet_NaN();
    else if (text == "INF")
        value = limits::infinity();
    else if (text == "-INF")
        value = -limits::infinity();
    else {
        // from_chars accepts no plus sign, but accepts words for infinity that XML does not have.
        const bool plus = text.starts_with('+');
        text.remove_prefix(plus ? 1 : 0);
        const auto first = !plus && text.starts_with('-') ? 1u : 0u;
        if (text.size() <= first || !(text[first] == '.' || isDigit(text[first])))
            return false;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error == std::errc::result_out_of_range)
            value = outOfRangeDouble(text);
        return error != std::errc::invalid_argument && end == text.data() + text.size();
    }
    return true;
}

bool read(std::string_view text, bool& value) {
    value = text == "true" || text == "1";
    return value || text == "false" || text == "0";
}

bool read(std::string_view text, c_datetime& value) {
    auto time = c_datetime::from_string(text);
    if (time)
        value = std::move(*time);
    return time.has_value();
}

bool read(std::string_view text, c_big_int& value) {
    auto number = c_big_int::from_string(text);
    if (number)
        value = std::move(*number);
    return number.has_value();
}

elmx_error checkRange(double value, const s_simple_type& type) {
    if (std::isnan(value)) // NaN is valid only where there is no range
        return std::isinf(type.low) && std::isinf(type.high) ? elmx_error::ok
                                                             : elmx_error::valueOutOfRange;
    const bool above = type.lowIncluded ? value >= type.low : value > type.low;
    const bool below = type.highIncluded ? value <= type.high : value < type.high;
    return above && below ? elmx_error::ok : elmx_error::valueOutOfRange;
}

/// Compared as whole numbers, which a double may not hold.
elmx_error checkRange(const c_big_int& value, const s_simple_type& type) {
    const auto limit = [](double whole) { return c_big_int(static_cast<std::int64_t>(whole)); };
    const bool tooLow =
        std::isfinite(type.low) &&
        (value < limit(type.low) || (!type.lowIncluded && value == limit(type.low)));
    const bool tooHigh =
        std::isfinite(type.high) &&
        (value > limit(type.high) || (!type.highIncluded && value == limit(type.high)));
    return tooLow || tooHigh ? elmx_error::valueOutOfRange : elmx_error::ok;
}

/// An unsigned number, read in any size first, so that 300 in 8 bits is out of range, not invalid.
template <class T>
elmx_error readUnsigned(std::string_view text, const s_simple_type& type, T& value) {
    c_big_int number;
    if (!read(text, number))
        return elmx_error::valueInvalid;
    if (number < c_big_int(0))
        return elmx_error::valueOutOfRange;
    const std::string digits = number.as_string();
    T fitting = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), fitting).ec != std::errc() ||
        checkRange(static_cast<double>(fitting), type) != elmx_error::ok)
        return elmx_error::valueOutOfRange;
    value = fitting;
    return elmx_error::ok;
}

elmx_error checkText(std::string_view text, const s_simple_type& type) {
    const auto length = characters(text);
    if (length < type.minLength || length > type.maxLength)
        return elmx_error::lengthOutOfBounds;
    if (type.pattern && !type.pattern->matches(text))
        return elmx_error::patternMismatch;
    const auto is = [text](const s_enum_value& allowed) { return text == allowed.text; };
    if (!type.values.empty() && std::ranges::none_of(type.values, is))
        return elmx_error::valueNotInSet;
    return elmx_error::ok;
}

} // namespace

template <>
elmx_error check_value(std::string& value, const s_simple_type& type) {
    if (type.collapse)
        value = collapsed(value);
    return checkText(value, type);
}

template <>
elmx_error check_value(bool&, const s_simple_type&) {
    return elmx_error::ok;
}

template <>
elmx_error check_value(c_datetime& value, const s_simple_type& type) {
    if (value.as_string().empty())
        return elmx_error::valueInvalid;
    return checkText(value.as_string(), type);
}

template <>
elmx_error check_value(c_big_int& value, const s_simple_type& type) {
    // Compared as numbers: "08" is 8.
    const auto is = [&](const s_enum_value& allowed) {
        return c_big_int::from_string(allowed.text) == value;
    };
    if (!type.values.empty() && std::ranges::none_of(type.values, is))
        return elmx_error::valueNotInSet;
    return checkRange(value, type);
}

template <class T>
elmx_error check_value(T& value, const s_simple_type& type) {
    return checkRange(static_cast<double>(value), type);
}

template <class T>
elmx_error parse_value(std::string_view text, const s_simple_type& type, T& value) {
    T candidate{};
    if constexpr (std::is_same_v<T, std::string>)
        candidate = text;
    else if constexpr (std::is_unsigned_v<T> && !std::is_same_v<T, bool>)
        return readUnsigned(trimmed(text), type, value);
    else if (!read(trimmed(text), candidate))
        return elmx_error::valueInvalid;
    const auto error = check_value(candidate, type);
    if (error == elmx_error::ok)
        value = std::move(candidate);
    return error;
}

template <>
std::string format_value(const std::string& value) {
    return value;
}
template <>
std::string format_value(const bool& value) {
    return value ? "true" : "false";
}
template <>
std::string format_value(const c_datetime& value) {
    return value.as_string();
}
template <>
std::string format_value(const c_big_int& value) {
    return value.as_string();
}
template <>
std::string format_value(const double& value) {
    if (std::isnan(value))
        return "NaN";
    if (std::isinf(value))
        return value > 0 ? "INF" : "-INF";
    char text[32];
    return {text, std::to_chars(std::begin(text), std::end(text), value).ptr};
}
template <class T>
std::string format_value(const T& value) {
    return std::to_string(value);
}

template elmx_error check_value(double&, const s_simple_type&);
template elmx_error check_value(std::uint8_t&, const s_simple_type&);
template elmx_error check_value(std::uint16_t&, const s_simple_type&);
template elmx_error check_value(std::uint32_t&, const s_simple_type&);
template elmx_error check_value(std::uint64_t&, const s_simple_type&);

template elmx_error parse_value(std::string_view, const s_simple_type&, bool&);
template elmx_error parse_value(std::string_view, const s_simple_type&, double&);
template elmx_error parse_value(std::string_view, const s_simple_type&, std::uint8_t&);
template elmx_error parse_value(std::string_view, const s_simple_type&, std::uint16_t&);
template elmx_error parse_value(std::string_view, const s_simple_type&, std::uint32_t&);
template elmx_error parse_value(std::string_view, const s_simple_type&, std::uint64_t&);
template elmx_error parse_value(std::string_view, const s_simple_type&, std::string&);
template elmx_error parse_value(std::string_view, const s_simple_type&, c_datetime&);
template elmx_error parse_value(std::string_view, const s_simple_type&, c_big_int&);

template std::string format_value(const std::uint8_t&);
template std::string format_value(const std::uint16_t&);
template std::string format_value(const std::uint32_t&);
template std::string format_value(const std::uint64_t&);

} // namespace lmx
