// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

/// From now on ordered work takes so many threads; for processes that share the machine.
void useThreads(std::size_t count);
