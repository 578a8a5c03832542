// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// What GDAL says when a call fails. For this folder and the image library.
namespace kfio {

/// While it lives, errors of this thread's GDAL calls are kept here instead of being printed;
/// afterwards the thread's last error is what it was before. Debug messages pass.
class ErrorCapture {
public:
    ErrorCapture();
    ~ErrorCapture();
    ErrorCapture(const ErrorCapture&) = delete;
    ErrorCapture& operator=(const ErrorCapture&) = delete;

    /// @return the first failure as "path: reason" (the path once, if GDAL names it itself); with
    ///         the other reason when GDAL gave none.
    std::string describe(const std::string& path, const char* otherwise) const;
    /// @return the first failure without the file's name in front; else the other reason.
    std::string reason(const std::string& path, const char* otherwise) const;
    /// @return whether a failure was heard.
    bool failed() const { return !firstFailure_.empty(); }
    /// @return the first failure as GDAL tells it; empty when there was none.
    const std::string& firstFailure() const { return firstFailure_; }
    /// Forgets the failures heard so far.
    void clear() { firstFailure_.clear(); }
    /// Called by the handler.
    void hear(const char* message);

private:
    std::string firstFailure_;
    std::string outerMessage_;
    int outerNumber_;
    int outerClass_;
};

} // namespace kfio
