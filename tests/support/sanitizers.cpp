// SPDX-License-Identifier: MIT
// What the sanitizers need to know, however a test is started; their libraries look these up.
#define LOOKED_UP extern "C" __attribute__((visibility("default")))

// A failed allocation is null, as everywhere else: tests ask for too much on purpose.
LOOKED_UP const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

LOOKED_UP const char* __tsan_default_options() {
    return "allocator_may_return_null=1";
}

// GDAL takes its own locks in changing order while it opens files and coordinate systems.
LOOKED_UP const char* __tsan_default_suppressions() {
    return "deadlock:libgdal.so\n";
}
