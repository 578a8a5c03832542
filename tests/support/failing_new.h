// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// Lets operator new fail in the code of this project, and nowhere else: what other libraries do
/// without memory is their business. Link support/failing_new.cpp.
namespace support {

enum class Shortage {
    once,  ///< the n-th allocation fails, later ones succeed
    lasts, ///< the n-th and all later ones fail
};

/// While it lives, allocations of this thread are counted and fail.
class FailingNew {
public:
    /// @param n  1 is the next allocation.
    FailingNew(std::uint64_t n, Shortage shortage);
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;

    /// @return whether an allocation failed.
    static bool hasFailed();
};

} // namespace support
