// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace product {

/// Values that a product gives at the columns first, first + step, first + 2 step, ... of its
/// images; the step is negative where the list runs from near to far range and the image does not.
struct ColumnProfile {
    std::int64_t first = 0;
    std::int64_t step = 1; ///< never 0
    std::vector<double> values;

    /// @param reach  how many columns the end values may serve beyond their own.
    /// @return whether each column of an image lies between two of the values, or on one.
    bool covers(std::uint32_t width, double reach = 0) const;
    /// @return linear between the given values, the end ones beyond; there must be some.
    double at(std::uint32_t column) const;
    /// @return one value a column, as at().
    /// @throws loader::Error for lines longer than any image's, whose values would take all memory.
    std::vector<double> expand(std::uint32_t width) const;
};

} // namespace product
