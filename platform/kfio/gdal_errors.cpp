// SPDX-License-Identifier: MIT
#include "kfio/gdal_errors.h"

#include <cpl_error.h>

#include <string_view>

namespace kfio {
namespace {

void CPL_STDCALL keepFailure(CPLErr errorClass, CPLErrorNum, const char* message) {
    if (errorClass == CE_Failure || errorClass == CE_Fatal)
        static_cast<ErrorCapture*>(CPLGetErrorHandlerUserData())->hear(message);
}

} // namespace

ErrorCapture::ErrorCapture()
    : outerMessage_(CPLGetLastErrorMsg()), outerNumber_(CPLGetLastErrorNo()),
      outerClass_(CPLGetLastErrorType()) {
    CPLPushErrorHandlerEx(keepFailure, this);
    CPLSetCurrentErrorHandlerCatchDebug(FALSE);
}

ErrorCapture::~ErrorCapture() {
    CPLPopErrorHandler();
    CPLErrorSetState(static_cast<CPLErr>(outerClass_), outerNumber_, outerMessage_.c_str());
}

void ErrorCapture::hear(const char* message) {
    if (!firstFailure_.empty())
        return;
    std::string_view said = message;
    // "In file port/x.cpp, at line 7, decompression failed": for GDAL's own developers.
    constexpr std::string_view place = ", at line ";
    if (const auto at = said.find(place); said.starts_with("In file ") && at != said.npos)
        if (const auto behind = said.find(", ", at + place.size()); behind != said.npos)
            said.remove_prefix(behind + 2);
    while (said.ends_with('\n'))
        said.remove_suffix(1);
    if (said.find("Range downloading not supported") != said.npos)
        said = "its server sends no parts of files (HTTP ranges), which images need; download the "
               "product, or copy it to a server that does";
    firstFailure_ = said;
}

std::string ErrorCapture::describe(const std::string& path, const char* otherwise) const {
    const std::string reason = firstFailure_.empty() ? otherwise : firstFailure_;
    return reason.find(path) == std::string::npos ? path + ": " + reason : reason;
}

std::string ErrorCapture::reason(const std::string& path, const char* otherwise) const {
    std::string reason = firstFailure_.empty() ? otherwise : firstFailure_;
    if (reason.starts_with(path + ": "))
        reason.erase(0, path.size() + 2);
    return reason;
}

} // namespace kfio
