// SPDX-License-Identifier: MIT
#include "lmx/big_int.h"

#include <algorithm>
#include <boost/multiprecision/cpp_int.hpp>
#include <charconv>
#include <limits>

namespace lmx {

using boost::multiprecision::cpp_int;

/// Only numbers beyond 64 bits are stored here, so equal numbers always have the same form.
struct c_big_int::s_large {
    cpp_int value;
};

c_big_int::c_big_int() = default;
c_big_int::c_big_int(std::int64_t value) : small_(value) {}
c_big_int::c_big_int(const c_big_int& other)
    : small_(other.small_),
      large_(other.large_ ? std::make_unique<s_large>(*other.large_) : nullptr) {}
c_big_int::c_big_int(c_big_int&& other) noexcept = default;
c_big_int& c_big_int::operator=(c_big_int&& other) noexcept = default;
c_big_int::~c_big_int() = default;

c_big_int& c_big_int::operator=(const c_big_int& other) {
    return *this = c_big_int(other);
}

std::optional<c_big_int> c_big_int::from_string(std::string_view text) {
    const auto digits = text.substr(text.starts_with('-') || text.starts_with('+') ? 1 : 0);
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    if (digits.empty() || digits.size() > maxDigits || !std::ranges::all_of(digits, isDigit))
        return std::nullopt;
    if (text.starts_with('+'))
        text = digits;
    c_big_int number;
    if (std::from_chars(text.data(), text.data() + text.size(), number.small_).ec == std::errc())
        return number;
    // A leading 0 would mean octal to the library.
    number.large_ = std::make_unique<s_large>(
        s_large{cpp_int(std::string(digits.substr(digits.find_first_not_of('0'))))});
    if (text.starts_with('-'))
        number.large_->value = -number.large_->value;
    return number;
}

std::string c_big_int::as_string() const {
    return large_ ? large_->value.str() : std::to_string(small_);
}

std::int64_t c_big_int::as_int64() const {
    using limits = std::numeric_limits<std::int64_t>;
    return !large_ ? small_ : large_->value < 0 ? limits::min() : limits::max();
}

bool operator==(const c_big_int& a, const c_big_int& b) {
    return std::is_eq(a <=> b);
}

std::strong_ordering operator<=>(const c_big_int& a, const c_big_int& b) {
    if (!a.large_ && !b.large_)
        return a.small_ <=> b.small_;
    const auto value = [](const c_big_int& n) {
        return n.large_ ? n.large_->value : cpp_int(n.small_);
    };
    return value(a).compare(value(b)) <=> 0;
}

} // namespace lmx
