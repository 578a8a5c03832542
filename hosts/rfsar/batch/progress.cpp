// SPDX-License-Identifier: MIT
#include "batch/progress.h"

#include "output/console.h"
#include "output/terminal.h"

#include <cstdio>
#include <iostream>

namespace batch {
namespace {

std::string inWords(double seconds) {
    const auto whole = [](double value) { return std::to_string(static_cast<long>(value + 0.5)); };
    if (seconds < 100)
        return whole(seconds) + " s";
    if (seconds < 100 * 60)
        return whole(seconds / 60) + " min";
    return whole(seconds / 3600) + " h";
}

} // namespace

Progress::Progress(std::string what, std::size_t total)
    : what_(std::move(what)), total_(total), shown_(console::showsProgress()),
      begun_(std::chrono::steady_clock::now()) {
    draw();
}

Progress::~Progress() {
    if (shown_)
        std::cerr << "\r\033[K" << std::flush;
}

void Progress::advance(bool failed) {
    ++done_;
    failed_ += failed ? 1 : 0;
    draw();
}

void Progress::passOver() {
    --total_;
    draw();
}

void Progress::tell(const std::string& error) {
    if (shown_)
        std::cerr << "\r\033[K";
    console::error(error);
    drawn_ = {};
}

void Progress::draw() {
    using namespace std::chrono_literals;
    const auto now = std::chrono::steady_clock::now();
    if (!shown_ || now - drawn_ < 200ms)
        return;
    drawn_ = now;
    const double seconds = std::chrono::duration<double>(now - begun_).count();
    std::cerr << '\r' << what_ << ' ' << done_ << " of " << total_;
    if (failed_ > 0)
        std::cerr << ", " << failed_ << " failed";
    if (done_ > 0 && seconds > 0.5) {
        const double rate = static_cast<double>(done_) / seconds;
        char text[32];
        std::snprintf(text, sizeof text, ", %.*f/s, ", rate < 10 ? 2 : 0, rate);
        std::cerr << text << inWords(static_cast<double>(total_ - done_) / rate) << " left";
    }
    std::cerr << "\033[K" << std::flush;
}

} // namespace batch
