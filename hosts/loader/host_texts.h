#pragma once

#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"
#include "loader/plugin.h"

#include <cstdint>
#include <string>
#include <vector>

namespace loader {

/// Takes a list over that the plug-in handed out, and frees it.
/// @param count  of the texts; a null list counts as empty.
inline std::vector<std::string> takeTexts(char16_t** list, std::uint32_t count) {
    const kmsc::HeapPtr<char16_t*> array(list);
    std::vector<std::string> texts;
    for (std::uint32_t i = 0; list && i < count; ++i) {
        const kmsc::HeapPtr<char16_t> text(list[i]);
        texts.push_back(ktxt::narrow(text.get()));
    }
    return texts;
}

/// @throws Error when the name, of a file, a layer or a record, is not valid UTF-8.
inline std::u16string wideName(const std::string& name) {
    try {
        return ktxt::widen(name);
    } catch (const TolvanLog::Exception&) {
        throw Error(name + ": the name is not valid UTF-8");
    }
}

} // namespace loader
