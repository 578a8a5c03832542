// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <cstdlib>

/// The entry that libFuzzer calls, and the replay of single files: anything but a return is a find.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size);

namespace fuzz {

/// What must hold for any input; ends the process, in every build.
inline void require(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

} // namespace fuzz
