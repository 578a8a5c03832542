// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"

namespace kerr {

/// Replaces where logged reports go that no listener of their thread hears (TolvanLog); an empty
/// sink drops them. Any thread.
/// @return the sink that was in force.
RF_PLATFORM_API Sink setLogSink(Sink sink);

} // namespace kerr
