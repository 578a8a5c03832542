// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace batch {

/// Exit status of a child for a file that was found in a folder and is no product.
constexpr int foreign = 64;

/// The messages of a child on stderr.
struct Told {
    std::string failure;
    std::vector<std::string> warnings; ///< the first ones
};
Told readTold(const std::string& text);

} // namespace batch
