// SPDX-License-Identifier: MIT
#pragma once

namespace console {

/// @return whether progress is to be shown: stderr is a terminal and nothing silences it.
bool showsProgress();

} // namespace console
