// SPDX-License-Identifier: MIT
#pragma once

#include "output/console.h"

#include <string>
#include <vector>

/// The command line, as a program of its own and inside another program.
namespace application {

/// Runs a verb as the program rfsar does; a signal that interrupted it ends the process.
/// @return the exit status: 0 done, 1 failed, 2 wrong usage.
int run(int argc, char** argv);

/// Runs a verb inside another program: nothing is printed, signals stay the program's own. One
/// call at a time.
/// @param arguments  from the verb on.
/// @return what the verb prints.
/// @throws loader::Error naming the file and the reason, also for wrong usage; what the listener
///         throws ends the work and comes out.
std::string runInside(const std::vector<std::string>& arguments, const console::Listener& listener);

} // namespace application
