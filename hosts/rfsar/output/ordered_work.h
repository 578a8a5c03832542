// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>

/// Work in numbered items: several threads prepare them, one thread takes them in order.
struct OrderedWork {
    std::size_t items = 0;
    std::size_t slots = 0; ///< items in progress at once; at least 1
    /// Prepares an item in a slot, on any thread, also the calling one. A slot holds one item at a
    /// time.
    std::function<void(std::size_t item, std::size_t slot)> prepare;
    /// Takes a prepared item, in the order of the items, on the calling thread.
    std::function<void(std::size_t item, std::size_t slot)> take;
};

/// @return how many threads the machine runs at once.
std::size_t machineThreads();

/// Processes all items, on as many threads as the machine has.
/// @throws what the first failing item threw, or interruption::Interrupted; no thread is left
///         running.
void run(const OrderedWork& work);
