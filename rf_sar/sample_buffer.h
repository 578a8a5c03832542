// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>

/// A buffer for samples between read and conversion. The thread keeps the memory for its next block
/// until it ends, unless the memory is large. At most one buffer at a time per thread.
class SampleBuffer {
public:
    /// @throws std::bad_alloc
    explicit SampleBuffer(std::size_t samples) {
        if (kept().samples < samples)
            kept() = {std::make_unique_for_overwrite<Room[]>(samples), samples};
    }
    ~SampleBuffer() {
        if (kept().samples > largestKept)
            kept() = {};
    }
    SampleBuffer(const SampleBuffer&) = delete;
    SampleBuffer& operator=(const SampleBuffer&) = delete;

    /// @return uninitialised room for two 4-byte values per sample.
    template <class T>
    T* as() const {
        static_assert(sizeof(T) == sizeof(Room) / 2 && alignof(T) <= alignof(Room));
        return reinterpret_cast<T*>(kept().room.get());
    }

private:
    struct alignas(8) Room {
        std::byte bytes[8];
    };
    struct Kept {
        std::unique_ptr<Room[]> room;
        std::size_t samples = 0;
    };
    static constexpr std::size_t largestKept = std::size_t{8} << 20; // 64 MiB
    static Kept& kept() {
        thread_local Kept ofThread;
        return ofThread;
    }
};
