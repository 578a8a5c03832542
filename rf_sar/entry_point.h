// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"

#include <exception>
#include <new>
#include <string_view>

/// Prints a report under a fixed message.
/// @param cause  the report that led here; this function takes ownership. May be null.
inline void printFailure(const char* function, const char* message, KERR_REPORT* cause) {
    KERR_REPORT* report = kerr_CreateErrorReport(function, kerrError, message, cause);
    kerr_PrintErrorReport(report);
    kerr_DeleteErrorReportEx(&report);
}

/// @return whether one of the arguments is null, which is logged.
template <class... Arguments>
bool lacksArgument(const char* function, const Arguments*... arguments) {
    if ((arguments && ...))
        return false;
    TolvanLog::Write(function, kerrError, "an argument is null");
    return true;
}

/// Runs the body of an entry point and lets no exception out: logs it under the entry point's name
/// and returns `failure`.
template <class Result, class Body>
Result entryPoint(std::string_view name, Result failure, Body body) {
    try {
        KerrException report("rf_sar", name);
        try {
            return body(report);
        } catch (const std::exception& error) { // host errors, TolvanLog's, and standard ones
            report.Log(error.what());
        } catch (...) {
            report.Log("unknown exception");
        }
    } catch (const std::bad_alloc&) {
        // there is no memory left to log it
    }
    return failure;
}
