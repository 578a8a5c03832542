// SPDX-License-Identifier: MIT
#pragma once

#include "kmsc/host_array.h"
#include "kstr/kstr.h"

#include <string_view>

namespace kstr {

inline void freeText(char16_t* text) {
    kmsc_HeapFree(text);
}

} // namespace kstr

/// A list of texts passed to or from the host. The destructor frees it unless `release` has passed
/// it on.
class HostList : public kmsc::HostArray<char16_t, kstr::freeText> {
public:
    using HostArray::HostArray;

    /// @return false when memory is short or the list is full.
    bool append(std::u16string_view text) { return take(kstr_Duplicate(text)); }
};
