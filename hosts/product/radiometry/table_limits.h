// SPDX-License-Identifier: MIT
#pragma once

#include "product/families/statements.h"

#include <string>

/// Limits for the numbers in tables. A number beyond them is a mistake in the document, which would
/// silently give wrong images.
namespace product {

struct Limits {
    double least, most;
    const char* unit; ///< "" or with a blank before
};
constexpr Limits gainLimits{1e-6, 1e18, ""}; ///< of power and of amplitude
constexpr Limits scaleLimits{1e-9, 1e6, ""};
constexpr Limits offsetLimits{-1e18, 1e18, ""};
constexpr Limits noiseLimits{-150, 100, " dB"};
constexpr Limits incidenceLimits{0, 90, " degrees"};

/// @param file,path  where the number is stated.
/// @throws loader::Error naming file, path and number when it is not finite or beyond the limits.
void requireWithin(const Limits& limits, double number, const std::string& file,
                   const std::string& path);

/// As above for every value.
void requireWithin(const Limits& limits, const ColumnProfile& profile, const std::string& file,
                   const std::string& path);

/// @param announced  the number of values that the document states.
/// @throws loader::Error naming the file, the path and both counts when they differ.
void requireCount(std::int64_t announced, std::size_t count, const std::string& file,
                  const std::string& path);

} // namespace product
