// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace product {

/// Values at the columns first, first + step, first + 2 step, ... of an image. The step is negative
/// where the list runs from near to far range and the image the other way.
struct ColumnProfile {
    std::int64_t first = 0;
    std::int64_t step = 1; ///< never 0
    std::vector<double> values;

    /// @param reach  how many columns beyond its own an end value may be used for.
    /// @return whether each column of an image lies between two of the values, or on one.
    bool covers(std::uint32_t width, double reach = 0) const;
    /// @return linearly interpolated between the values; beyond the ends, the end value. There must
    ///         be at least one value.
    double at(std::uint32_t column) const;
    /// @return one value a column, as at().
    /// @throws loader::Error for a width beyond that of any image, which would take all memory.
    std::vector<double> expand(std::uint32_t width) const;
};

} // namespace product
