// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

namespace kimg {

/// From now on, new files of this process do not remove the leftovers of killed processes beside
/// them. For folders with very many files, whose owner cleans up once.
RF_PLATFORM_API void leaveLeftovers();

} // namespace kimg
