// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace batch {

/// Runs rfsar itself with these arguments. @return the exit status.
using RunCommand = std::function<int(const std::vector<std::string>& arguments)>;

} // namespace batch
