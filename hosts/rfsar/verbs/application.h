// SPDX-License-Identifier: MIT
#pragma once

#include "output/console.h"

#include <string>
#include <vector>

/// The command line, as a program of its own and inside another program.
namespace application {

/// Runs a verb as the program rfsar does. If a signal interrupted the verb, the signal ends the
/// process.
/// @return the exit status: 0 done, 1 failed, 2 wrong usage.
int run(int argc, char** argv);

/// Runs a verb inside another program. Prints nothing and leaves signals to the program. One call
/// at a time.
/// @param arguments  the command line, beginning with the verb.
/// @return what the verb prints.
/// @throws loader::Error naming the file and the reason, also for wrong usage. An exception of the
///         listener ends the work and passes through.
std::string runInside(const std::vector<std::string>& arguments, const console::Listener& listener);

} // namespace application
