// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <string>
#include <string_view>

/// Wide text is UTF-16 in char16_t and is used only in the interface to the host. Inside, text is
/// UTF-8 in std::string. These functions convert between them. Pure functions, any thread.

namespace ktxt {

/// @throws TolvanLog::Exception when the text is not valid UTF-8.
RF_PLATFORM_API std::u16string widen(std::string_view text);
/// @throws TolvanLog::Exception when the text is not valid UTF-16 (a lone surrogate).
RF_PLATFORM_API std::string narrow(std::u16string_view text);
/// As widen, for texts that are only shown, not used as names: invalid bytes become U+FFFD.
RF_PLATFORM_API std::u16string widenLossy(std::string_view text);

} // namespace ktxt

/// Wide text that owns its characters and is always terminated. A value.
class KtxtTextU {
public:
    KtxtTextU() = default;
    // Implicit: a text is what its characters are.
    // cppcheck-suppress noExplicitConstructor
    KtxtTextU(const char16_t* text) : text_(text ? text : u"") {}
    // cppcheck-suppress noExplicitConstructor
    KtxtTextU(std::u16string text) : text_(std::move(text)) {}
    // cppcheck-suppress noExplicitConstructor
    KtxtTextU(std::u16string_view text) : text_(text) {}

    const char16_t* c_str() const { return text_.c_str(); }
    bool empty() const { return text_.empty(); }
    operator std::u16string_view() const { return text_; }

private:
    std::u16string text_;
};

/// @return the leading decimal digits (with an optional sign) as a number; 0 when there are none,
///         the nearest limit when the number does not fit.
RF_PLATFORM_API long ktxt_Text_atol(std::u16string_view text);

/// @return negative, 0 or positive, comparing character codes.
RF_PLATFORM_API int ktxt_Text_strcmp(std::u16string_view a, std::u16string_view b);
