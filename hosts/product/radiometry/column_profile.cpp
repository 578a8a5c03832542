// SPDX-License-Identifier: MIT
#include "product/radiometry/column_profile.h"

#include "loader/plugin.h"

#include <algorithm>
#include <cmath>

namespace product {
namespace {

constexpr std::uint32_t longestLine = 1 << 24;

} // namespace

bool ColumnProfile::covers(std::uint32_t width, double reach) const {
    if (values.empty())
        return false;
    const double begin = static_cast<double>(first);
    const double last = begin + static_cast<double>(step) * static_cast<double>(values.size() - 1);
    return std::min(begin, last) <= reach && std::max(begin, last) >= width - 1.0 - reach;
}

double ColumnProfile::at(std::uint32_t column) const {
    const double end = static_cast<double>(values.size()) - 1;
    const double place =
        std::clamp((column - static_cast<double>(first)) / static_cast<double>(step), 0.0, end);
    const auto before = static_cast<std::size_t>(place);
    const double part = place - std::floor(place);
    return part == 0 ? values[before] : (1 - part) * values[before] + part * values[before + 1];
}

std::vector<double> ColumnProfile::expand(std::uint32_t width) const {
    if (width > longestLine)
        throw loader::Error("lines of " + std::to_string(width) +
                            " samples are too long for values a column");
    std::vector<double> columns(width);
    for (std::uint32_t column = 0; column < width; ++column)
        columns[column] = at(column);
    return columns;
}

} // namespace product
