// SPDX-License-Identifier: MIT
#pragma once

#include <boost/algorithm/string/predicate.hpp>

#include <locale>
#include <string_view>

/// Compares whole texts without case, by the upper-case rules of the global locale.
inline bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return boost::iequals(a, b, std::locale());
}
