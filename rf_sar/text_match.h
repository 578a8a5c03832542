// SPDX-License-Identifier: MIT
#pragma once

#include <boost/algorithm/string/predicate.hpp>

#include <locale>
#include <string_view>

/// Whole-text equality without regard to case, upper-cased by a copy of the global locale.
inline bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return boost::iequals(a, b, std::locale());
}
