// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

/// Sets the number of threads for ordered work, for processes that share the machine.
void useThreads(std::size_t count);
