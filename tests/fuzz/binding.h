// SPDX-License-Identifier: MIT
#pragma once

#include "fuzz/require.h"
#include "lmx/lmx.h"

#include <string>

namespace fuzz {

template <class Root>
std::string textOf(const Root& root, const char* rootName) {
    lmx::c_xml_writer writer;
    require(root.marshal(writer, rootName) == lmx::elmx_error::ok,
            "a bound document can be written");
    return writer.document();
}

/// A value: copies are like it, and what becomes of them does not touch it.
template <class Root>
void copyAnyWay(const Root& bound, const char* rootName) {
    const std::string text = textOf(bound, rootName);
    Root copy(bound), other;
    other = copy;
    copy.reset();
    require(textOf(other, rootName) == text && other.is_occurs_ok(), "a copy is like the original");
    copy.swap(other);
    const lmx::child_ptr clone = bound.clone();
    require(textOf(copy, rootName) == text &&
                textOf(static_cast<const Root&>(*clone), rootName) == text,
            "so are what was swapped, and a clone");
}

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
    const std::string text = textOf(bound, rootName);
    const Root reread(text.data(), text.size(), found,
                      [](const lmx::s_error& error) { return error.code; });
    require(found == elmx_error::ok, "a written document can be bound");
    require(textOf(reread, rootName) == text, "it reads back to the same");
    copyAnyWay(bound, rootName);
}

} // namespace fuzz
