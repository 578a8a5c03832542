// SPDX-License-Identifier: MIT
#include "output/interruption.h"

#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace interruption {
namespace {

volatile std::sig_atomic_t seen = 0;
bool leftAlone = false;

void keep(int signal) {
    seen = signal;
}

} // namespace

LeftAlone::LeftAlone() {
    leftAlone = true;
}

LeftAlone::~LeftAlone() {
    leftAlone = false;
}

void watch() {
    if (leftAlone)
        return;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        if (std::signal(signal, keep) == SIG_IGN)
            std::signal(signal, SIG_IGN); // as nohup expects
    std::signal(SIGXFSZ, SIG_IGN);
}

bool requested() {
    return seen != 0;
}

void check() {
    if (seen != 0)
        throw Interrupted{seen};
}

void endBy(int signal) {
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    // cppcheck-suppress unreachableCode ; a blocked signal waits
    std::_Exit(128 + signal);
}

} // namespace interruption
