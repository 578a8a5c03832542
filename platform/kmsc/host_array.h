// SPDX-License-Identifier: MIT
#pragma once

#include "kmsc/kmsc.h"

#include <cstdint>

namespace kmsc {

/// An array of pointers on the host heap, and the objects that they point to. The destructor frees
/// all, unless `release` has passed them on, which is the last step of code that fills an array for
/// the host. One thread at a time.
template <class T, void (*destroy)(T*)>
class HostArray {
public:
    /// @param capacity  slots of the array. When memory is short, the array converts to false and
    ///        takes nothing.
    explicit HostArray(std::size_t capacity)
        : capacity_(capacity), items_(makeArray<T*>(capacity)) {}
    /// Takes over an array that somebody else made: `count` objects, or null and 0.
    HostArray(T** items, std::size_t count)
        : capacity_(count), count_(static_cast<std::uint32_t>(count)), items_(items) {}
    HostArray(const HostArray&) = delete;
    HostArray& operator=(const HostArray&) = delete;
    ~HostArray() {
        for (std::uint32_t i = 0; items_ && i < count_; ++i)
            destroy(items_.get()[i]);
    }

    explicit operator bool() const { return items_ != nullptr; }
    std::uint32_t count() const { return count_; }
    /// @param i  below count.
    T* operator[](std::size_t i) const { return items_.get()[i]; }

    /// Takes an object over. @return false when it is null (memory was short) or the array has no
    ///         slot left; the object is destroyed then.
    bool take(T* item) {
        if (!item)
            return false;
        if (!items_ || count_ == capacity_) {
            destroy(item);
            return false;
        }
        items_.get()[count_++] = item;
        return true;
    }

    /// @return the array with its objects, now the caller's.
    T** release() {
        count_ = 0;
        return items_.release();
    }

private:
    std::size_t capacity_;
    std::uint32_t count_ = 0;
    HeapPtr<T*> items_;
};

} // namespace kmsc
