// SPDX-License-Identifier: MIT
#pragma once

#include "fuzz/require.h"
#include "lmx/lmx.h"

#include <string>

namespace fuzz {

/// Binds a document as a user does, who stops at the first error, and as one who goes on. What is
/// bound without errors is written, and reads back to the same.
template <class Root>
void bindAnyWay(const void* document, std::size_t size, const char* rootName) {
    using lmx::elmx_error;
    auto tolerant = elmx_error::ok;
    const Root asMuchAsThereIs(document, size, tolerant, [](const lmx::s_error& error) {
        static_cast<void>(error.message());
        return elmx_error::ok;
    });
    auto found = elmx_error::ok;
    const Root bound(document, size, found, [](const lmx::s_error& error) { return error.code; });
    if (found != elmx_error::ok && found != elmx_error::withoutNamespace)
        return;
    lmx::c_xml_writer written, again;
    require(bound.marshal(written, rootName) == elmx_error::ok, "a bound document can be written");
    const std::string& text = written.document();
    const Root reread(text.data(), text.size(), found,
                      [](const lmx::s_error& error) { return error.code; });
    require(found == elmx_error::ok, "a written document can be bound");
    require(reread.marshal(again, rootName) == elmx_error::ok && again.document() == text,
            "it reads back to the same");
}

} // namespace fuzz
