#pragma once

#include "kmsc/kmsc.h"
#include "kstr/kstr.h"

#include <cstdint>
#include <string_view>

/// A list of texts on its way to the host: frees what it holds on an early exit; `release` hands
/// array and texts to the host as the last step.
class HostList {
public:
    /// @param capacity  slots of the array; an array that cannot be had leaves the list unusable.
    explicit HostList(std::size_t capacity)
        : capacity_(capacity), texts_(kmsc::makeArray<char16_t*>(capacity)) {}
    /// Takes a list over that a host library made: `count` texts, or null and 0.
    HostList(char16_t** texts, std::size_t count)
        : capacity_(count), count_(static_cast<std::uint32_t>(count)), texts_(texts) {}
    HostList(const HostList&) = delete;
    HostList& operator=(const HostList&) = delete;
    ~HostList() {
        for (std::uint32_t i = 0; texts_ && i < count_; ++i)
            kmsc_HeapFree(texts_.get()[i]);
    }

    explicit operator bool() const { return texts_ != nullptr; }
    std::uint32_t count() const { return count_; }

    /// Takes a host-heap text over. @return false when it is null (memory was short) or has no
    ///         place; it is freed then.
    bool take(char16_t* text) {
        kmsc::HeapPtr<char16_t> owned(text);
        if (!owned || !texts_ || count_ == capacity_)
            return false;
        texts_.get()[count_++] = owned.release();
        return true;
    }
    bool append(std::u16string_view text) { return take(kstr_Duplicate(text)); }

    char16_t** release() {
        count_ = 0;
        return texts_.release();
    }

private:
    std::size_t capacity_;
    std::uint32_t count_ = 0;
    kmsc::HeapPtr<char16_t*> texts_;
};
