// SPDX-License-Identifier: MIT
#include "kimg/failed_writes.h"

#include <cpl_error.h>
#include <tiffio.h>

#include <mutex>
#include <string_view>

namespace kimg {
namespace {

TIFFErrorHandler printer = nullptr; // the handler used before

bool tellsOfAWrite(const char* module) {
    return module && std::string_view(module) == "_tiffWriteProc";
}

void raiseFailedWrites(thandle_t, const char* module, const char* format, va_list arguments) {
    if (tellsOfAWrite(module))
        CPLErrorV(CE_Failure, CPLE_FileIO, format, arguments);
}

void printOthers(const char* module, const char* format, va_list arguments) {
    if (printer && !tellsOfAWrite(module))
        printer(module, format, arguments);
}

} // namespace

void hearFailedWrites() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (const auto own = TIFFSetErrorHandlerExt(raiseFailedWrites))
            TIFFSetErrorHandlerExt(own);
        else
            printer = TIFFSetErrorHandler(printOthers);
    });
}

} // namespace kimg
