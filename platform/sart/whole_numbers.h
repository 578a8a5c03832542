// SPDX-License-Identifier: MIT
#pragma once

namespace sart {

/// std::floor and std::ceil for pixel positions, without the function call that older processors
/// need. The result must fit an int.
inline int floorOf(double value) {
    const int whole = static_cast<int>(value);
    return whole - (value < whole);
}

inline int ceilOf(double value) {
    const int whole = static_cast<int>(value);
    return whole + (value > whole);
}

} // namespace sart
