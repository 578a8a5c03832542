// SPDX-License-Identifier: MIT
#pragma once

namespace sart {

/// Without a call, which std::floor is on the oldest processors. For places in images.
inline int floorOf(double value) {
    const int whole = static_cast<int>(value);
    return whole - (value < whole);
}

inline int ceilOf(double value) {
    const int whole = static_cast<int>(value);
    return whole + (value > whole);
}

} // namespace sart
