// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"
#include "kxfr/kxfr.h"

#include <string>

namespace fuzz {

/// A transform as sections, five a part: from, to, data, dictionary, design's name.
inline std::string textOf(const KxfrXForm& transform) {
    std::uint32_t count = 0;
    char16_t **from = nullptr, **to = nullptr, **data = nullptr;
    KmifDesign** designs = nullptr;
    std::string text;
    if (!kxfr_XFormConvertToMIF(&transform, &count, &from, &to, &data, &designs, nullptr))
        return text;
    const auto add = [&](const char* name, const std::string& content) {
        text += (text.empty() ? "=== " : "\n=== ") + std::string(name) + "\n" + content;
    };
    const auto take = [](char16_t* block) {
        return ktxt::narrow(kmsc::HeapPtr<char16_t>(block).get());
    };
    for (std::uint32_t i = 0; i < count; ++i) {
        const kmif::DesignPtr design(designs[i]);
        const kmif::DictionaryPtr dictionary(kmif_DictionaryCreate(nullptr));
        kmif_DictionaryAddDesign(dictionary.get(), design.get(), nullptr);
        add("from", take(from[i]));
        add("to", take(to[i]));
        add("data", take(data[i]));
        add("dictionary", take(kmif_DictionaryEncodeToString(dictionary.get(), nullptr)));
        add("design", kmif_DesignName(design.get()));
    }
    for (void* list : {static_cast<void*>(from), static_cast<void*>(to), static_cast<void*>(data),
                       static_cast<void*>(designs)})
        kmsc_HeapFree(list);
    return text;
}

} // namespace fuzz
