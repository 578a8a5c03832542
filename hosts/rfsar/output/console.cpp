// SPDX-License-Identifier: MIT
#include "output/console.h"

#include "output/terminal.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <iostream>
#include <unistd.h>

namespace console {
namespace {
bool quiet = false;
const Listener* heardBy = nullptr; ///< null: this is a program of its own
std::ostream* data = &std::cout;
} // namespace

std::ostream& out() {
    return *data;
}

Listening::Listening(const Listener& listener, std::ostream& stream) {
    heardBy = &listener;
    data = &stream;
}

Listening::~Listening() {
    heardBy = nullptr;
    data = &std::cout;
}

bool showsProgress() {
    return !heardBy && !quiet && isatty(STDERR_FILENO) == 1;
}

void setQuiet(bool on) {
    quiet = on;
}

void warning(const std::string& text) {
    if (heardBy && heardBy->warning)
        heardBy->warning(text);
    else if (!heardBy && !quiet)
        std::cerr << "rfsar: warning: " << text << '\n';
}

void note(const std::string& text) {
    if (!heardBy && !quiet)
        std::cerr << "rfsar: " << text << '\n';
}

/// Inside another program errors are thrown.
void error(std::string_view text) {
    std::cerr << "rfsar: " << text << '\n';
}

void printJson(const nlohmann::ordered_json& document) {
    out() << document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

Progress::Progress(std::string what, std::uint64_t total)
    : what_(std::move(what)), total_(total), shown_(showsProgress()) {}

Progress::~Progress() {
    if (shown_ && percent_ >= 0)
        std::cerr << "\r\033[K" << std::flush;
}

void Progress::advanceTo(std::uint64_t done) {
    if (total_ == 0 || !(shown_ || heardBy))
        return;
    const int percent = static_cast<int>(100 * done / total_);
    if (percent == percent_)
        return;
    percent_ = percent;
    if (heardBy && heardBy->progress)
        heardBy->progress(static_cast<double>(done) / static_cast<double>(total_));
    if (!shown_)
        return;
    std::cerr << '\r' << what_ << ' ' << percent << " %" << std::flush;
}

} // namespace console
