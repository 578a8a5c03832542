// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

namespace kimg {

/// From now on new files of this process leave what killed processes have left beside them: for
/// work in a folder of very many files, whose owner cleans it once.
RF_PLATFORM_API void leaveLeftovers();

} // namespace kimg
