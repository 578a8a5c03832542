// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// Captures GDAL's error messages. For this folder and the image library.
namespace kfio {

/// While it lives, it keeps the errors of this thread's GDAL calls instead of printing them.
/// Afterwards it restores the thread's last error. Debug messages pass through.
class ErrorCapture {
public:
    ErrorCapture();
    ~ErrorCapture();
    ErrorCapture(const ErrorCapture&) = delete;
    ErrorCapture& operator=(const ErrorCapture&) = delete;

    /// @return the first failure as "path: reason", with the path only once; uses `otherwise` as
    ///         the reason when GDAL gave none.
    std::string describe(const std::string& path, const char* otherwise) const;
    /// @return the first failure without the file's name in front; `otherwise` when there was none.
    std::string reason(const std::string& path, const char* otherwise) const;
    /// @return whether GDAL reported a failure.
    bool failed() const { return !firstFailure_.empty(); }
    /// @return the first failure in GDAL's words; empty when there was none.
    const std::string& firstFailure() const { return firstFailure_; }
    /// Forgets the failures so far.
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
