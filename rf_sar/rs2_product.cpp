#include "rs2_product.h"

#include "kmsc/kmsc.h"
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
        if (!kind) {
            error_ = error;
            return error.code;
        }
        if (++kind->count == 1)
            kind->first = error;
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

std::unique_ptr<const rs2prod::c_product>
bindProduct(std::string_view productFile, std::string_view function, KERR_REPORT** slot) {
    BindingErrors errors;
    lmx::elmx_error error;
    auto product = std::make_unique<const rs2prod::c_product>(std::string(productFile).c_str(),
                                                              error, errors.handler());
    if (error == lmx::elmx_error::ok) {
        errors.warn(function);
        return product;
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
