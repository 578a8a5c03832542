#include "kfio/gdal_errors.h"

#include <cpl_error.h>

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
    if (firstFailure_.empty())
        firstFailure_ = message;
}

std::string ErrorCapture::describe(const std::string& path, const char* otherwise) const {
    std::string reason = firstFailure_.empty() ? otherwise : firstFailure_;
    while (!reason.empty() && reason.back() == '\n')
        reason.pop_back();
    return reason.find(path) == std::string::npos ? path + ": " + reason : reason;
}

} // namespace kfio
