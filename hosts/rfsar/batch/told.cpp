// SPDX-License-Identifier: MIT
#include "batch/told.h"

#include <sstream>
#include <string_view>

namespace batch {

Told readTold(const std::string& text) {
    constexpr std::string_view program = "rfsar: ", warning = "rfsar: warning: ";
    constexpr std::size_t most = 20;
    Told told;
    std::string* last = nullptr;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with(warning)) {
            if (told.warnings.size() < most)
                last = &told.warnings.emplace_back(line.substr(warning.size()));
        } else if (line.starts_with(program)) {
            told.failure = line.substr(program.size());
            last = &told.failure;
        } else if (last) {
            *last += '\n' + line;
        }
    }
    return told;
}

} // namespace batch
