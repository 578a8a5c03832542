// SPDX-License-Identifier: MIT
#include "kerr/kerr.h"

#include "kerr/log_sink.h"

#include <cstdio>
#include <mutex>

namespace {

std::mutex sinkMutex;
kerr::Sink& printSink() {
    static kerr::Sink sink;
    return sink;
}

kerr::Sink& logSink() {
    static kerr::Sink sink;
    return sink;
}

thread_local TolvanLog::Listener* innermostListener = nullptr;

} // namespace

KERR_REPORT* kerr_CreateErrorReport(std::string_view function, int severity,
                                    std::string_view message, KERR_REPORT* cause) {
    auto report = std::make_unique<KERR_REPORT>();
    report->function = function;
    report->severity = severity;
    report->message = message;
    report->cause.reset(cause); // last: where memory is short, it stays the caller's
    return report.release();
}

void kerr_PrintErrorReport(const KERR_REPORT* report) {
    if (!report)
        return;
    kerr::Sink sink;
    {
        const std::lock_guard lock(sinkMutex);
        sink = printSink();
    }
    if (sink)
        sink(*report);
    else
        std::fprintf(stderr, "%s\n", kerr_Text(report).c_str());
}

void kerr_DeleteErrorReportEx(KERR_REPORT** slot) {
    if (!slot)
        return;
    delete *slot;
    *slot = nullptr;
}

std::string kerr_Text(const KERR_REPORT* report) {
    std::string text;
    std::string closing;
    for (; report; report = report->cause.get()) {
        if (!text.empty()) {
            text += " (";
            closing += ')';
        }
        text += report->function + ": " + report->message;
    }
    return text + closing;
}

namespace kerr {

Sink setPrintSink(Sink sink) {
    const std::lock_guard lock(sinkMutex);
    std::swap(printSink(), sink);
    return sink;
}

Sink setLogSink(Sink sink) {
    const std::lock_guard lock(sinkMutex);
    std::swap(logSink(), sink);
    return sink;
}

void raise(KERR_REPORT** slot, std::string_view function, std::string_view message) {
    if (slot)
        *slot = kerr_CreateErrorReport(function, kerrError, message, *slot);
}

} // namespace kerr

struct KerrException::State {
    std::string module;
    std::string operation;
    std::unique_ptr<KERR_REPORT> report;
    KERR_REPORT* hostReport = nullptr; // filled by host calls through slot()

    ~State() { kerr_DeleteErrorReportEx(&hostReport); }

    void record(std::string_view message) {
        report.reset(kerr_CreateErrorReport(operation, kerrError, message, hostReport));
        hostReport = nullptr;
    }
};

KerrException::KerrException(std::string_view module, std::string_view operation)
    : state_(std::make_shared<State>()) {
    state_->module = module;
    state_->operation = operation;
}

void KerrException::Throw(std::string_view message) {
    state_->record(message);
    throw *this;
}

void KerrException::ThrowIfReported() {
    if (state_->hostReport)
        Throw(state_->hostReport->message);
}

void KerrException::Log(std::string_view message) {
    if (!state_->report || state_->hostReport)
        state_->record(message);
    TolvanLog::Write(*state_->report);
}

void KerrException::Clear() {
    state_->report.reset();
    kerr_DeleteErrorReportEx(&state_->hostReport);
}

bool KerrException::HasError() const {
    return state_->report || state_->hostReport;
}

KERR_REPORT** KerrException::slot() {
    return &state_->hostReport;
}

const KERR_REPORT* KerrException::report() const {
    return state_->report ? state_->report.get() : state_->hostReport;
}

const char* KerrException::what() const noexcept {
    const KERR_REPORT* first = report();
    return first ? first->message.c_str() : "";
}

void TolvanLog::Write(const KERR_REPORT& report) {
    if (innermostListener)
        return innermostListener->sink_(report);
    kerr::Sink sink;
    {
        const std::lock_guard lock(sinkMutex);
        sink = logSink();
    }
    if (sink)
        sink(report);
}

void TolvanLog::Write(std::string_view function, int severity, std::string_view message) {
    Write({std::string(function), severity, std::string(message), nullptr});
}

TolvanLog::Listener::Listener(kerr::Sink sink) : sink_(std::move(sink)), outer_(innermostListener) {
    innermostListener = this;
}

TolvanLog::Listener::~Listener() {
    innermostListener = outer_;
}
