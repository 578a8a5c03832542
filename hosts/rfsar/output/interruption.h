// SPDX-License-Identifier: MIT
#pragma once

/// Lets SIGINT, SIGTERM and SIGHUP end long work in an orderly way, so that no incomplete file is
/// left.
namespace interruption {

/// Thrown by `check`. It is no error to report.
struct Interrupted {
    int signal;
};

/// From now on `check` handles these signals, and a file beyond the size limit is a write error.
void watch();

bool requested();
/// @throws Interrupted when one of the signals came.
void check();

/// While it lives, the surrounding program handles the signals.
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
