// SPDX-License-Identifier: MIT
#include "fuzz/captured.h"

#include "fuzz/require.h"

#include <iostream>
#include <pthread.h>
#include <sstream>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

namespace fuzz {
namespace {

/// Puts a file in memory in a descriptor's place, once.
void replace(int descriptor) {
    const int file = memfd_create("captured", MFD_CLOEXEC);
    require(file >= 0 && dup2(file, descriptor) == descriptor, "a file in memory can be made");
    close(file);
}

void rewriteInput(std::string_view input) {
    require(ftruncate(STDIN_FILENO, 0) == 0 &&
                pwrite(STDIN_FILENO, input.data(), input.size(), 0) ==
                    static_cast<ssize_t>(input.size()) &&
                lseek(STDIN_FILENO, 0, SEEK_SET) == 0,
            "a file in memory can be written");
}

std::string takeOutput() {
    std::fflush(stdout);
    std::string text(static_cast<std::size_t>(lseek(STDOUT_FILENO, 0, SEEK_END)), '\0');
    require(pread(STDOUT_FILENO, text.data(), text.size(), 0) ==
                    static_cast<ssize_t>(text.size()) &&
                ftruncate(STDOUT_FILENO, 0) == 0 && lseek(STDOUT_FILENO, 0, SEEK_SET) == 0,
            "a file in memory can be read");
    return text;
}

/// While it lives, what goes to a stream goes elsewhere; what a child says goes its own way.
class Diverted {
public:
    Diverted(std::ostream& stream, std::ostream& into)
        : stream_(stream), own_(stream.rdbuf(into.rdbuf())) {
        [[maybe_unused]] static const int asked = pthread_atfork(nullptr, nullptr, endAll);
        next_ = std::exchange(first, this);
    }
    ~Diverted() {
        stream_.rdbuf(own_);
        first = next_;
    }
    Diverted(const Diverted&) = delete;
    Diverted& operator=(const Diverted&) = delete;

private:
    static void endAll() {
        for (const Diverted* each = first; each; each = each->next_)
            each->stream_.rdbuf(each->own_);
    }

    static inline Diverted* first = nullptr;
    std::ostream& stream_;
    std::streambuf* own_;
    Diverted* next_ = nullptr;
};

} // namespace

Captured captured(std::string_view input, const std::function<void(std::ostream& data)>& work) {
    [[maybe_unused]] static const bool replaced =
        (replace(STDIN_FILENO), replace(STDOUT_FILENO), true);
    std::ostringstream data, told;
    rewriteInput(input);
    {
        const Diverted out(std::cout, data), err(std::cerr, told);
        work(data);
    }
    return {data.str() + takeOutput(), told.str()};
}

} // namespace fuzz
