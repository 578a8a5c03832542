// SPDX-License-Identifier: MIT
#include "rs2_product.h"

#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"
#include "messages.h"
#include "rs2_lmx/source/rs2prod.h"

#include <algorithm>
#include <new>

namespace rs2 {

lmx::error_handler BindingErrors::handler() {
    return [this](const lmx::s_error& error) {
        PassedOver* kind = error.code == lmx::elmx_error::elementUnexpected  ? &elements_
                           : error.code == lmx::elmx_error::attributeUnknown ? &attributes_
                                                                             : nullptr;
        if (kind && ++kind->count > 1)
            return lmx::elmx_error::ok;
        lmx::s_error& kept = kind ? kind->first : error_;
        kept = error;
        if (kept.file.empty())
            kept.file = file_;
        if (!kind)
            return error.code;
        return lmx::elmx_error::ok;
    };
}

void BindingErrors::warn(std::string_view function) const {
    for (const PassedOver* kind : {&elements_, &attributes_})
        if (kind->count > 0)
            TolvanLog::Write(
                function, kerrWarning,
                kind->first.message() + "; passed over" +
                    (kind->count == 1 ? "" : ", and " + std::to_string(kind->count - 1) + " more"));
}

void BindingErrors::raise(KERR_REPORT** slot, std::string_view function,
                          std::string_view message) const {
    if (error_.code != lmx::elmx_error::ok) // short memory comes without details
        kerr::raise(slot, function, error_.message());
    kerr::raise(slot, function, message);
}

Document::Document(std::u16string_view productFile) : file_(ktxt::narrow(productFile)) {}

Document::Document(std::u16string_view productFile, std::string text, const kfio::FileState& state)
    : file_(ktxt::narrow(productFile)), text_(std::move(text)), state_(state) {}

Document::~Document() = default;

const rs2prod::c_product* Document::product(std::string_view function, KERR_REPORT** slot) const {
    const kfio::FileState now = kfio::fileState(file_);
    if (product_ && now == state_)
        return product_.get();
    product_.reset();
    const std::string text = now == state_ ? std::move(text_) : std::string();
    text_.clear();
    state_ = now;
    BindingErrors errors(file_);
    lmx::elmx_error error;
    auto bound = text.empty() ? std::make_unique<const rs2prod::c_product>(file_.c_str(), error,
                                                                           errors.handler())
                              : std::make_unique<const rs2prod::c_product>(
                                    text.data(), text.size(), error, errors.handler());
    if (error == lmx::elmx_error::ok) {
        errors.warn(function);
        product_ = std::move(bound);
        return product_.get();
    }
    errors.raise(slot, function,
                 std::string(messages::schemaMismatch) + lmx::get_error_description(error));
    return nullptr;
}

TimeStamp timeStamp(const lmx::c_datetime& time) {
    return {time.get_year(), time.get_month(),  time.get_day(),
            time.get_hour(), time.get_minute(), time.get_second()};
}

double* heapCopy(const std::vector<double>& values) {
    auto copy = kmsc::makeArray<double>(values.size());
    if (!copy)
        throw std::bad_alloc();
    std::copy(values.begin(), values.end(), copy.get());
    return copy.release();
}

} // namespace rs2
