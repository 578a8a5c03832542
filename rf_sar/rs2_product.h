#pragma once

#include "kerr/kerr.h"
#include "lmx/datetime.h"
#include "lmx/error.h"
#include "time_stamp.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace rs2prod {
class c_product;
}

/// What the readers of RADARSAT-2 products share: the bound product.xml, and values out of it. Any
/// thread.
namespace rs2 {

/// Judges the errors of a binding: passes over what the schema does not know, and stops at the
/// first other one. Deviation: an element or attribute of an unknown name does not refuse the
/// document, so that a later edition of the schema does not cost the record. One that is known but
/// misplaced does. (Rs2Readnodes.WhatALaterSchemaBringsIsPassedOver)
class BindingErrors {
public:
    /// To be handed to bindings of one product, which this object must outlive.
    lmx::error_handler handler();
    /// Puts the agreed message into the slot, caused by the error with its file, element and line.
    void raise(KERR_REPORT** slot, std::string_view function, std::string_view message) const;
    /// Logs what was passed over, as one warning for elements and one for attributes.
    void warn(std::string_view function) const;

private:
    struct PassedOver {
        lmx::s_error first;
        std::size_t count = 0;
    };
    lmx::s_error error_;
    PassedOver elements_, attributes_;
};

/// Reads and checks a product.xml, local or virtual.
/// @param function  under whose name a failure is reported.
/// @return null with a report when the file cannot be read or does not match the schema.
std::unique_ptr<const rs2prod::c_product>
bindProduct(std::string_view productFile, std::string_view function, KERR_REPORT** slot);

TimeStamp timeStamp(const lmx::c_datetime& time);

/// @return the numbers that `get` answers for 0 to count - 1.
template <class Get>
std::vector<double> numbers(std::size_t count, const Get& get) {
    std::vector<double> all(count);
    for (std::size_t i = 0; i < count; ++i)
        all[i] = get(i);
    return all;
}

/// @return a copy on the host heap, owned by the caller; a block of its own even when empty.
/// @throws std::bad_alloc
double* heapCopy(const std::vector<double>& values);

} // namespace rs2
