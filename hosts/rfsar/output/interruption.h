// SPDX-License-Identifier: MIT
#pragma once

/// SIGINT, SIGTERM and SIGHUP end long work in an orderly way, so that nothing half done is left.
namespace interruption {

/// Thrown by `check`; not an error to tell.
struct Interrupted {
    int signal;
};

/// From now on these signals are kept for `check`; files that grow too large fail to write.
void watch();

bool requested();
/// @throws Interrupted when one of the signals came.
void check();

/// While it lives, signals stay those of the program around.
class LeftAlone {
public:
    LeftAlone();
    ~LeftAlone();
    LeftAlone(const LeftAlone&) = delete;
    LeftAlone& operator=(const LeftAlone&) = delete;
};

/// Ends the process as the signal would have.
[[noreturn]] void endBy(int signal);

} // namespace interruption
