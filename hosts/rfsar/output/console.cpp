#include "output/console.h"

#include "output/terminal.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <iostream>
#include <unistd.h>

namespace console {
namespace {
bool quiet = false;
}

bool showsProgress() {
    return !quiet && isatty(STDERR_FILENO) == 1;
}

void setQuiet(bool on) {
    quiet = on;
}

void warning(const std::string& text) {
    if (!quiet)
        std::cerr << "rfsar: warning: " << text << '\n';
}

void note(const std::string& text) {
    if (!quiet)
        std::cerr << "rfsar: " << text << '\n';
}

void error(std::string_view text) {
    std::cerr << "rfsar: " << text << '\n';
}

void printJson(const nlohmann::ordered_json& document) {
    std::cout << document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

Progress::Progress(std::string what, std::uint64_t total)
    : what_(std::move(what)), total_(total), shown_(showsProgress()) {}

Progress::~Progress() {
    if (shown_ && percent_ >= 0)
        std::cerr << "\r\033[K" << std::flush;
}

void Progress::advanceTo(std::uint64_t done) {
    if (!shown_ || total_ == 0)
        return;
    const int percent = static_cast<int>(100 * done / total_);
    if (percent == percent_)
        return;
    percent_ = percent;
    std::cerr << '\r' << what_ << ' ' << percent << " %" << std::flush;
}

} // namespace console
