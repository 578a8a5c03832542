// SPDX-License-Identifier: MIT
#pragma once

#include "kstr/host_list.h"
#include "ktxt/ktxt.h"
#include "loader/plugin.h"

#include <cstdint>
#include <string>
#include <vector>

namespace loader {

/// Takes over a list that the plug-in returned, and frees it.
/// @param count  of the texts; a null list counts as empty.
inline std::vector<std::string> takeTexts(char16_t** list, std::uint32_t count) {
    const HostList taken(list, list ? count : 0);
    std::vector<std::string> texts;
    for (std::uint32_t i = 0; i < taken.count(); ++i)
        texts.push_back(ktxt::narrow(taken[i]));
    return texts;
}

/// @throws Error when the name (of a file, layer or record) is not valid UTF-8.
inline std::u16string wideName(const std::string& name) {
    try {
        return ktxt::widen(name);
    } catch (const TolvanLog::Exception&) {
        throw Error(name + ": the name is not valid UTF-8");
    }
}

} // namespace loader
