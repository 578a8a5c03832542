// SPDX-License-Identifier: MIT
#include "output/ordered_work.h"

#include "output/interruption.h"
#include "output/thread_share.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <sched.h>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

std::size_t threads = 0; ///< as set; 0: as the machine has

class Crew {
public:
    explicit Crew(const OrderedWork& work) : work_(work), slots_(work.slots) {}
    ~Crew() {
        {
            const std::lock_guard lock(mutex_);
            stopped_ = true;
        }
        room_.notify_all();
        for (std::thread& thread : threads_)
            thread.join();
    }
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;

    void run() {
        const std::size_t count = std::min({machineThreads(), work_.slots, work_.items});
        for (std::size_t i = 1; i < count; ++i)
            threads_.emplace_back([this] { prepareItems(); });
        for (std::size_t item = 0; item < work_.items; ++item) {
            const std::size_t slot = item % work_.slots;
            await(slot);
            work_.take(item, slot);
            const std::lock_guard lock(mutex_);
            slots_[slot].ready = false;
            taken_ = item + 1;
            room_.notify_all();
        }
    }

private:
    struct Slot {
        bool ready = false;
        std::exception_ptr failure;
    };

    /// Also prepares items while the next item to take is not ready.
    void await(std::size_t slot) {
        std::unique_lock lock(mutex_);
        while (!slots_[slot].ready) {
            if (hasRoom())
                prepareNext(lock);
            else
                ready_.wait_for(lock, 100ms);
            interruption::check();
        }
        interruption::check();
        if (slots_[slot].failure)
            std::rethrow_exception(slots_[slot].failure);
    }

    bool hasRoom() const { return next_ < work_.items && next_ < taken_ + work_.slots; }

    void prepareNext(std::unique_lock<std::mutex>& lock) {
        const std::size_t item = next_++;
        Slot& slot = slots_[item % work_.slots];
        lock.unlock();
        try {
            work_.prepare(item, item % work_.slots);
        } catch (...) {
            slot.failure = std::current_exception();
        }
        lock.lock();
        slot.ready = true;
    }

    void prepareItems() {
        for (std::unique_lock lock(mutex_);;) {
            room_.wait(lock, [&] { return stopped_ || next_ == work_.items || hasRoom(); });
            if (stopped_ || next_ == work_.items)
                return;
            prepareNext(lock);
            ready_.notify_one();
        }
    }

    const OrderedWork& work_;
    std::vector<Slot> slots_;
    std::mutex mutex_;
    std::condition_variable ready_, room_;
    std::size_t next_ = 0, taken_ = 0;
    bool stopped_ = false;
    std::vector<std::thread> threads_;
};

} // namespace

std::size_t machineThreads() {
    if (threads != 0)
        return threads;
    // Those that this process may use: a batch system's share of the machine.
    cpu_set_t cores;
    if (sched_getaffinity(0, sizeof cores, &cores) == 0)
        return static_cast<std::size_t>(std::max(1, CPU_COUNT(&cores)));
    return std::max(1U, std::thread::hardware_concurrency());
}

void useThreads(std::size_t count) {
    threads = count;
}

void run(const OrderedWork& work) {
    Crew(work).run();
}
