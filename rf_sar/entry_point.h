// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"

#include <exception>
#include <new>
#include <string_view>

/// Prints a report under a fixed message.
/// @param cause  what led here, taken over; may be null.
inline void printFailure(const char* function, const char* message, KERR_REPORT* cause) {
    KERR_REPORT* report = kerr_CreateErrorReport(function, kerrError, message, cause);
    kerr_PrintErrorReport(report);
    kerr_DeleteErrorReportEx(&report);
}

/// @return whether one of the arguments is null, which is told to the log.
template <class... Arguments>
bool lacksArgument(const char* function, const Arguments*... arguments) {
    if ((arguments && ...))
        return false;
    TolvanLog::Write(function, kerrError, "an argument is null");
    return true;
}

/// Runs the body of an entry point and keeps every exception inside the plug-in: it is logged
/// under the entry point's name, and `failure` is the answer.
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
        // no memory is left to tell it
    }
    return failure;
}
