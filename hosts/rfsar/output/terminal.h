// SPDX-License-Identifier: MIT
#pragma once

namespace console {

/// @return whether to show progress: stderr is a terminal and output is not quiet.
bool showsProgress();

} // namespace console
