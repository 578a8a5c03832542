// SPDX-License-Identifier: MIT
#include "product/radiometry/table_limits.h"

#include "loader/plugin.h"

#include <cmath>
#include <sstream>

namespace product {
namespace {

/// @param place  of the number in a list; "" for a single one.
void require(const Limits& limits, double number, const std::string& file, const std::string& path,
             const std::string& place) {
    if (number >= limits.least && number <= limits.most) // never true for NaN
        return;
    std::ostringstream what;
    what << file << ": " << path << place << " is ";
    if (!std::isfinite(number))
        throw loader::Error(what.str() + "no finite number");
    what << number << limits.unit;
    if (limits.least > 0 && number <= 0)
        what << ", not above 0";
    else
        what << ", not between " << limits.least << " and " << limits.most << limits.unit;
    throw loader::Error(what.str());
}

} // namespace

void requireWithin(const Limits& limits, double number, const std::string& file,
                   const std::string& path) {
    require(limits, number, file, path, "");
}

void requireWithin(const Limits& limits, const ColumnProfile& profile, const std::string& file,
                   const std::string& path) {
    for (std::size_t i = 0; i < profile.values.size(); ++i)
        require(limits, profile.values[i], file, path, ", value " + std::to_string(i + 1) + ",");
}

void requireCount(std::int64_t announced, std::size_t count, const std::string& file,
                  const std::string& path) {
    if (announced != static_cast<std::int64_t>(count))
        throw loader::Error(file + ": announces " + std::to_string(announced) + ' ' + path +
                            " but holds " + std::to_string(count));
}

} // namespace product
