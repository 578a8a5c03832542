// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// Wide host strings. A returned `char16_t*` is a terminated block of the host heap that the
/// caller frees with kmsc_HeapFree; null means memory was short. Pure functions, any thread.

/// @return a copy of the text, null characters inside it included.
RF_PLATFORM_API char16_t* kstr_Duplicate(std::u16string_view text);

namespace kstr {
using Argument = std::variant<std::u16string_view, long>;
}
/// Formats with "%s" (wide text), "%d" (integer) and "%%"; the arguments are typed, so that a
/// format and its arguments cannot read past each other (a missing argument gives nothing).
RF_PLATFORM_API char16_t* kstr_Sprintf(std::u16string_view format,
                                       std::initializer_list<kstr::Argument> arguments);

/// Equality without regard to case, simple case mapping of the whole Unicode range, independent
/// of the locale.
RF_PLATFORM_API bool kstr_Eqic(std::u16string_view a, std::u16string_view b);
/// The same over the first n characters of both; a text shorter than n must match whole.
RF_PLATFORM_API bool kstr_Eqnic(std::u16string_view a, std::u16string_view b, std::size_t n);

/// @return the name with a leading "~" or "~/" replaced by the home directory, and made absolute
///         against the current directory; virtual names stay as they are.
RF_PLATFORM_API char16_t* kstr_PathExpand(std::u16string_view name);

/// Removes every occurrence of `what` from `text`, in place.
RF_PLATFORM_API void kstr_RemoveChars(std::u16string& text, std::u16string_view what);

namespace kstr {

/// kstr_Sprintf as a value, for callers that keep the text.
RF_PLATFORM_API std::u16string format(std::u16string_view format,
                                      std::initializer_list<Argument> arguments);

} // namespace kstr

/// A list of wide strings that distinguishes "never filled" from "empty". A value.
class RF_PLATFORM_API KstrStringList {
public:
    /// @return the number of strings, -1 when the list was never filled.
    int count() const { return filled_ ? static_cast<int>(strings_.size()) : -1; }
    /// @return the i-th string; the empty string for an index out of range.
    const char16_t* operator[](int i) const;
    void append(std::u16string_view text);

private:
    bool filled_ = false;
    std::vector<std::u16string> strings_;
};
