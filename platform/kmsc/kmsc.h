// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <cstddef>
#include <cstdint>
#include <memory>

/// The heap that host, platform and plug-in share. Every block that passes between them (lists,
/// strings, records) is allocated here and freed here. Any thread may call at any time.

/// @return a zero-filled block of count * size bytes (at least one byte), or null when memory is
///         short, the product overflows, or an injected failure is due. The caller owns it.
RF_PLATFORM_API void* kmsc_HeapCalloc(std::size_t count, std::size_t size);

/// Frees a block of this heap; null is allowed.
RF_PLATFORM_API void kmsc_HeapFree(void* block);

/// @param source  must hold `size` bytes. @return a copy of them in a new block, or null as
///        kmsc_HeapCalloc.
RF_PLATFORM_API void* kmsc_MemDup(const void* source, std::size_t size);

/// For tests: makes the n-th allocation from now (1 is the next) fail once; 0 switches it off.
RF_PLATFORM_API void kmsc_FailAllocation(std::uint64_t n);

/// @return the number of blocks allocated and not yet freed in the whole process.
RF_PLATFORM_API std::int64_t kmsc_BlocksInUse();

namespace kmsc {

struct HeapDeleter {
    void operator()(void* block) const { kmsc_HeapFree(block); }
};
/// Owns one block of the host heap; `release()` hands it to the caller.
template <class T>
using HeapPtr = std::unique_ptr<T, HeapDeleter>;

/// @return a zero-filled array of `count` T, empty owner when memory is short.
template <class T>
HeapPtr<T> makeArray(std::size_t count) {
    // NOLINTNEXTLINE(bugprone-sizeof-expression): T may be a pointer
    return HeapPtr<T>(static_cast<T*>(kmsc_HeapCalloc(count, sizeof(T))));
}

} // namespace kmsc
