// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>

/// Work in numbered items that threads prepare and one takes in order.
struct OrderedWork {
    std::size_t items = 0;
    std::size_t slots = 0; ///< items that may be under way at once; at least 1
    /// Prepares an item in a slot, on any of several threads, the calling one among them; a slot
    /// holds one item at a time.
    std::function<void(std::size_t item, std::size_t slot)> prepare;
    /// Takes an item over, in the order of the items, on the calling thread.
    std::function<void(std::size_t item, std::size_t slot)> take;
};

/// @return how many threads the machine runs at once.
std::size_t machineThreads();

/// Does all items, on as many threads as the machine runs at once.
/// @throws what the first failing item threw, or interruption::Interrupted; no thread runs on.
void run(const OrderedWork& work);
