// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace batch {

/// Shows progress over many products: how many are done, how many failed, the rate, the remaining
/// time. It is one line on stderr, drawn again and again if stderr is a terminal.
class Progress {
public:
    Progress(std::string what, std::size_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void advance(bool failed);
    /// Skips an item that turned out to be no product.
    void passOver();
    /// Prints an error on a line of its own.
    void tell(const std::string& error);
    std::size_t failures() const { return failed_; }

private:
    void draw();

    std::string what_;
    std::size_t total_, done_ = 0, failed_ = 0;
    bool shown_;
    std::chrono::steady_clock::time_point begun_, drawn_;
};

} // namespace batch
