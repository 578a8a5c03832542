// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"

#include <exception>
#include <new>

namespace kerr {

/// Runs the body of a host call and turns an exception into the report.
/// @return the body's result; after an exception a default value.
template <class Body>
auto reported(std::string_view function, KERR_REPORT** slot, const Body& body) -> decltype(body()) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        raise(slot, function, "No memory");
    } catch (const std::exception& error) {
        raise(slot, function, error.what());
    }
    return {};
}

} // namespace kerr
