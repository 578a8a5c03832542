// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "kfio/kfio.h"
#include "lmx/datetime.h"
#include "lmx/error.h"
#include "radartime/time_stamp.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace rs2prod {
class c_product;
}

/// Shared by the readers of RADARSAT-2 products: the bound product.xml and helpers to read it.
namespace rs2 {

/// Judges the errors of a binding: passes over what the schema does not know, and stops at the
/// first other one. Deviation: an element or attribute of an unknown name does not refuse the
/// document, so that a later edition of the schema does not cost the record. One that is known but
/// misplaced does. (Rs2Readnodes.WhatALaterSchemaBringsIsPassedOver)
class BindingErrors {
public:
    /// @param file  for errors that name no file, in documents bound from memory.
    explicit BindingErrors(std::string file) : file_(std::move(file)) {}
    /// @return a handler for the bindings of one product; this object must outlive them.
    lmx::error_handler handler();
    /// Puts the agreed message into the slot, with the error, its file, element and line as cause.
    void raise(KERR_REPORT** slot, std::string_view function, std::string_view message) const;
    /// Logs what was skipped, in one warning for elements and one for attributes.
    void warn(std::string_view function) const;

private:
    std::string file_;
    struct PassedOver {
        lmx::s_error first;
        std::size_t count = 0;
    };
    lmx::s_error error_;
    PassedOver elements_, attributes_;
};

/// A product.xml, local or virtual, read and bound when first asked for, and again if the file has
/// changed. One thread at a time.
class Document {
public:
    explicit Document(std::u16string_view productFile);
    /// @param text   the file's content if it was read already, kept until it is bound.
    /// @param state  of the file before it was read.
    Document(std::u16string_view productFile, std::string text, const kfio::FileState& state);
    ~Document();
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    /// @return the file's name.
    const std::string& file() const { return file_; }
    /// @param function  the name under which a failure is reported.
    /// @return the bound document, owned by this object and valid until the next call; null with a
    ///         report when the file cannot be read or does not match the schema.
    /// @throws std::bad_alloc
    const rs2prod::c_product* product(std::string_view function, KERR_REPORT** slot) const;

private:
    std::string file_;
    // Mutable because binding happens on demand: for the caller the object is the file.
    mutable std::string text_; ///< empty when there is none
    mutable kfio::FileState state_;
    mutable std::unique_ptr<const rs2prod::c_product> product_;
};

TimeStamp timeStamp(const lmx::c_datetime& time);

/// @return the results of `get` for 0 to count - 1.
template <class Get>
std::vector<double> numbers(std::size_t count, const Get& get) {
    std::vector<double> all(count);
    for (std::size_t i = 0; i < count; ++i)
        all[i] = get(i);
    return all;
}

/// @return a copy on the host heap, owned by the caller; never null, even when empty.
/// @throws std::bad_alloc
double* heapCopy(const std::vector<double>& values);

} // namespace rs2
