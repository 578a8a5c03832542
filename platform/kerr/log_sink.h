// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"

namespace kerr {

/// Replaces the sink of logged reports (TolvanLog) whose thread has no listener; an empty sink
/// drops them. Any thread may call it.
/// @return the sink used before.
RF_PLATFORM_API Sink setLogSink(Sink sink);

} // namespace kerr
