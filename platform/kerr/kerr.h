// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

/// Failures as the host sees them: a report is a link of a chain (function, severity, message,
/// cause). Texts are UTF-8. The holder of the pointer owns the report. A *slot* is the address of
/// such a pointer, which is null while nothing has failed. Reports are values without shared state;
/// printing and logging may be called from any thread.

enum KerrSeverity : int {
    kerrWarning = 1,
    kerrError = 2, ///< the severity of every report of the plug-in
};

struct KERR_REPORT {
    std::string function;
    int severity = kerrError;
    std::string message;
    std::unique_ptr<KERR_REPORT> cause;
};

/// @param cause  the report that led here, or null; the new report owns it.
/// @return a new report owned by the caller; never null.
/// @throws std::bad_alloc; the cause is the caller's still.
RF_PLATFORM_API KERR_REPORT* kerr_CreateErrorReport(std::string_view function, int severity,
                                                    std::string_view message,
                                                    KERR_REPORT* cause = nullptr);

/// Passes the chain to the print sink; null prints nothing. The caller keeps the report.
RF_PLATFORM_API void kerr_PrintErrorReport(const KERR_REPORT* report);

/// Deletes the chain in the slot and sets the slot to null; a null slot or report is allowed.
RF_PLATFORM_API void kerr_DeleteErrorReportEx(KERR_REPORT** slot);

/// @return the chain as one line: "function: message (cause: message)"; empty for null.
RF_PLATFORM_API std::string kerr_Text(const KERR_REPORT* report);

namespace kerr {

using Sink = std::function<void(const KERR_REPORT&)>;

/// Replaces the sink of printed reports; an empty sink restores stderr.
/// @return the sink used before.
RF_PLATFORM_API Sink setPrintSink(Sink sink);

/// A slot that deletes its report; pass it where a host call takes `KERR_REPORT**`.
class Slot {
public:
    Slot() = default;
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;
    ~Slot() { kerr_DeleteErrorReportEx(&report_); }

    operator KERR_REPORT**() { return &report_; }
    KERR_REPORT* get() const { return report_; }
    // Both forms: on a slot that is not const, `if (slot)` would else test the slot's address.
    explicit operator bool() { return report_ != nullptr; }
    explicit operator bool() const { return report_ != nullptr; }
    KERR_REPORT* release() {
        KERR_REPORT* report = report_;
        report_ = nullptr;
        return report;
    }

private:
    KERR_REPORT* report_ = nullptr;
};

/// Puts a report into a slot, which may be null. The report that the slot held becomes its cause.
RF_PLATFORM_API void raise(KERR_REPORT** slot, std::string_view function, std::string_view message);

} // namespace kerr

/// The error report of one reader operation, and the exception that it throws. It is made on entry
/// with the names of module and operation. Copies share one report, so the handler at the
/// operation's end sees what was thrown deep inside. One thread at a time.
class RF_PLATFORM_API KerrException : public std::exception {
public:
    KerrException(std::string_view module, std::string_view operation);

    /// Records the message (and what the slot holds as its cause) and throws this object.
    [[noreturn]] void Throw(std::string_view message = {});
    /// Throws when a host call left a report in slot().
    void ThrowIfReported();

    /// Records a failure caught at the operation's end and passes it to the log.
    void Log(std::string_view message);
    /// Drops the recorded report.
    void Clear();

    bool HasError() const;
    /// The slot for host calls made inside the operation.
    KERR_REPORT** slot();
    /// @return the recorded chain, owned by this object; null when there is none.
    const KERR_REPORT* report() const;
    const char* what() const noexcept override;

private:
    struct State;
    std::shared_ptr<State> state_;
};

/// The log for what is not reported: failures that an operation caught and answered with an empty
/// result, and remarks on what it left out. Silent unless a host listens.
class RF_PLATFORM_API TolvanLog {
public:
    /// Thrown by services that log on their own; readers catch it like any host error.
    class RF_PLATFORM_API Exception : public std::exception {
    public:
        explicit Exception(std::string text) : text_(std::move(text)) {}
        const char* what() const noexcept override { return text_.c_str(); }

    private:
        std::string text_;
    };

    /// Sends a report to the listener of this thread, if there is one.
    static void Write(const KERR_REPORT& report);
    static void Write(std::string_view function, int severity, std::string_view message);

    /// While it lives, receives what this thread logs. Listeners nest: only the innermost receives.
    class RF_PLATFORM_API Listener {
    public:
        explicit Listener(kerr::Sink sink);
        ~Listener();
        Listener(const Listener&) = delete;
        Listener& operator=(const Listener&) = delete;

    private:
        friend class TolvanLog;
        kerr::Sink sink_;
        Listener* outer_;
    };
};
