// SPDX-License-Identifier: MIT
#pragma once

#include "lmx/big_int.h"
#include "lmx/datetime.h"
#include "lmx/error.h"
#include "lmx/pattern.h"

#include <limits>
#include <span>

namespace lmx {

/// A text that a value may have, and its code in the binding's enumeration.
struct s_enum_value {
    const char* text;
    int code;
};

inline constexpr std::size_t unbounded = std::numeric_limits<std::size_t>::max();

/// The rules for a text to be a value. For a list, all rules except the item bounds apply to each
/// item.
struct s_simple_type {
    bool collapse = true;                      ///< runs of white space count as one blank
    const c_pattern* pattern = nullptr;        ///< none when null
    std::span<const s_enum_value> values = {}; ///< all texts when empty
    double low = -std::numeric_limits<double>::infinity();
    double high = std::numeric_limits<double>::infinity();
    bool lowIncluded = true, highIncluded = true;     ///< limits of whole numbers: below 2^53
    std::size_t minLength = 0, maxLength = unbounded; ///< characters
    bool isList = false;
    std::size_t minItems = 0, maxItems = unbounded;
};

/// Reads a text as a value of a type. T is one of bool, double, std::uint8_t, std::uint16_t,
/// std::uint32_t, std::uint64_t, std::string, c_datetime, c_big_int.
/// @param value  set only on success.
/// @return ok; valueInvalid, valueOutOfRange, lengthOutOfBounds, patternMismatch or valueNotInSet.
template <class T>
RF_PLATFORM_API elmx_error parse_value(std::string_view text, const s_simple_type& type, T& value);

/// @return the shortest text that parse_value reads as the same value.
template <class T>
RF_PLATFORM_API std::string format_value(const T& value);

/// Checks that a value that was not parsed from a text fits its type. A text or time may be
/// replaced by its normal form.
template <class T>
RF_PLATFORM_API elmx_error check_value(T& value, const s_simple_type& type);

} // namespace lmx
