// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace batch {

/// Progress over many products: how many, how many failed, the rate, the time that remains. A line
/// on stderr that is drawn over, where stderr is a terminal.
class Progress {
public:
    Progress(std::string what, std::size_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void advance(bool failed);
    /// One that was to be done turned out to be nothing.
    void passOver();
    /// Tells an error in a line of its own.
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
