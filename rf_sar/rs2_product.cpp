#include "rs2_product.h"

#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"
#include "messages.h"
#include "rs2_lmx/source/rs2prod.h"

#include <algorithm>
#include <new>

namespace rs2 {

lmx::error_handler FirstError::handler() {
    return [this](const lmx::s_error& error) {
        error_ = error;
        if (error_.file.empty())
            error_.file = file_;
        return error.code;
    };
}

void FirstError::raise(KERR_REPORT** slot, std::string_view function,
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
    FirstError first(file_);
    lmx::elmx_error error;
    auto bound = text.empty() ? std::make_unique<const rs2prod::c_product>(file_.c_str(), error,
                                                                           first.handler())
                              : std::make_unique<const rs2prod::c_product>(
                                    text.data(), text.size(), error, first.handler());
    if (error == lmx::elmx_error::ok) {
        product_ = std::move(bound);
        return product_.get();
    }
    first.raise(slot, function,
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
