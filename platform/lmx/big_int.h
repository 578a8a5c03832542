// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <compare>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace lmx {

/// A whole number of any size. A value; different objects on different threads.
class RF_PLATFORM_API c_big_int {
public:
    /// Longer numbers are refused: no quantity needs them, and reading them takes quadratic time.
    static constexpr std::size_t maxDigits = 4096;

    c_big_int(); ///< 0
    c_big_int(std::int64_t value); // cppcheck-suppress noExplicitConstructor ; it is a number
    c_big_int(const c_big_int& other);
    c_big_int(c_big_int&& other) noexcept;
    c_big_int& operator=(const c_big_int& other);
    c_big_int& operator=(c_big_int&& other) noexcept;
    ~c_big_int();

    /// @param text  optional sign and digits, nothing else, no white space.
    /// @return nullopt when the text is no whole number or is longer than maxDigits.
    static std::optional<c_big_int> from_string(std::string_view text);
    std::string as_string() const;
    /// @return the number, or the nearest limit when it does not fit.
    std::int64_t as_int64() const;

    friend RF_PLATFORM_API bool operator==(const c_big_int& a, const c_big_int& b);
    friend RF_PLATFORM_API std::strong_ordering operator<=>(const c_big_int& a, const c_big_int& b);

private:
    // A number of 64 bits stands in place; a larger one is held by the library's type.
    struct s_large;
    std::int64_t small_ = 0;
    std::unique_ptr<s_large> large_;
};

} // namespace lmx
