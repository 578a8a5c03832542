// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
#include <sys/mman.h>

namespace sart {

/// Allocates large pages where the system has them. For large arrays with scattered accesses, which
/// would spend much time on looking up small pages.
template <typename T>
struct LargePages {
    using value_type = T;

    LargePages() = default;
    template <typename Other>
    LargePages(const LargePages<Other>&) {}

    T* allocate(std::size_t count) {
        constexpr std::size_t page = std::size_t{2} << 20;
        const std::size_t bytes = (count * sizeof(T) + page - 1) / page * page;
        void* memory = std::aligned_alloc(page, bytes);
        if (!memory)
            throw std::bad_alloc();
#ifdef MADV_HUGEPAGE
        madvise(memory, bytes, MADV_HUGEPAGE); // a refusal costs speed only
#endif
        return static_cast<T*>(memory);
    }
    void deallocate(T* memory, std::size_t) {
        std::free(memory);
    }

    bool operator==(const LargePages&) const {
        return true;
    }
};

} // namespace sart
