// SPDX-License-Identifier: MIT
#include "kmsc/kmsc.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace {

std::atomic<std::uint64_t> allocationsUntilFailure{0};
std::atomic<std::int64_t> blocksInUse{0};

bool failureIsDue() {
    std::uint64_t left = allocationsUntilFailure.load(std::memory_order_relaxed);
    while (left != 0) {
        if (allocationsUntilFailure.compare_exchange_weak(left, left - 1))
            return left == 1;
    }
    return false;
}

} // namespace

void* kmsc_HeapCalloc(std::size_t count, std::size_t size) {
    if (failureIsDue())
        return nullptr;
    const bool empty = count == 0 || size == 0;
    void* block = empty ? std::calloc(1, 1) : std::calloc(count, size);
    if (block)
        blocksInUse.fetch_add(1, std::memory_order_relaxed);
    return block;
}

void kmsc_HeapFree(void* block) {
    if (!block)
        return;
    blocksInUse.fetch_sub(1, std::memory_order_relaxed);
    std::free(block);
}

void* kmsc_MemDup(const void* source, std::size_t size) {
    void* copy = kmsc_HeapCalloc(1, size);
    if (copy && size != 0)
        std::memcpy(copy, source, size);
    return copy;
}

void kmsc_FailAllocation(std::uint64_t n) {
    allocationsUntilFailure = n;
}

std::int64_t kmsc_BlocksInUse() {
    return blocksInUse;
}
