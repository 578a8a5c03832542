#pragma once

#include "kimg/sample_type.h"

#include <stdexcept>
#include <string>

namespace kimg {

/// Registers the drivers that this library uses, once in the process: those that read images and
/// those that write pictures. Drivers that a host has registered are left as they are, and none is
/// loaded from plug-in folders.
void registerDrivers();

/// The names of the drivers that may open an image file, ended by null. Named one by one, so that
/// a driver which itself stands on this library is never asked.
const char* const* imageDrivers();

/// The names of the drivers that may open an elevation model, ended by null.
const char* const* elevationDrivers();

/// @return the GDALDataType of samples.
int gdalTypeOf(SampleType type);

/// @param system  an OGRSpatialReferenceH, may be null.
/// @return WKT2:2019; empty when there is none.
std::string wktOf(void* system);

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

/// A failure inside this library; its text is what the report says.
class ImageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace kimg
