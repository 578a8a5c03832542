// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

/// Work in child processes, so that an item that hangs, crashes or takes all memory loses only its
/// own result. Children are forks of this process, with the libraries already loaded. This process
/// must not have started a thread.
struct ChildLimits {
    double timeoutS = 0;         ///< 0: none
    std::uint64_t memoryMiB = 0; ///< resident; 0: no limit
};

struct ChildOutcome {
    enum class End { exited, killed, timedOut, tookTooMuchMemory };
    End end = End::exited;
    int status = 0; ///< exit status, or the signal
    int process = 0;
    std::string out, err; ///< what it wrote to stdout and stderr
    double seconds = 0;
    std::uint64_t peakMemoryMiB = 0;
};

struct ChildWork {
    std::size_t items = 0;
    std::size_t atOnce = 1;
    ChildLimits limits;
    /// Runs in a child. @return its exit status. An exception is written to stderr and makes the
    /// status 1.
    std::function<int(std::size_t item)> run;
    /// Runs in this process when an item's child has ended.
    std::function<void(std::size_t item, ChildOutcome&& outcome)> ended;
};

/// Runs all items; starts them in order.
/// @throws what `ended` throws, or interruption::Interrupted; no child is left running.
void runInChildren(const ChildWork& work);

/// @return why a child was ended: "timed out after 5 s", ...
std::string describe(const ChildOutcome& outcome, const ChildLimits& limits);
