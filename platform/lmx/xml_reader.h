// SPDX-License-Identifier: MIT
#pragma once

#include "lmx/error.h"
#include "lmx/ns_map.h"

#include <memory>
#include <span>
#include <string_view>

namespace lmx {

struct s_attribute {
    std::string_view uri; ///< empty for an attribute without a prefix
    std::string_view name, value;
    std::string_view prefix; ///< as the document has it
};

/// Pulls the elements of an XML document one after the other, with namespaces resolved. Skips
/// comments and processing instructions. Refuses document types, and with them entities, external
/// files and network access; bounds depth and size. Reads UTF-8, UTF-16 and the system's encodings
/// that include ASCII (windows-1252, ISO 8859, Shift_JIS, EUC, ...). Views are UTF-8. One thread at
/// a time uses an object.
class RF_PLATFORM_API c_xml_reader {
public:
    static constexpr int maxDepth = 256;
    static constexpr std::size_t maxBytes = std::size_t{256} << 20;
    static constexpr std::size_t maxUriBytes = 4096; ///< of a namespace

    enum class e_event {
        start, ///< a start tag
        end,   ///< an end tag
        stop   ///< nothing follows: the document has ended, or fatal_error() says why not
    };

    /// Begins at the root's start tag, or at stop.
    /// @param document  must outlive the reader.
    /// @param file      its name, for messages.
    /// @param handler   without one, the first error ends the reading.
    c_xml_reader(std::string_view document, std::string file, error_handler handler = {});
    ~c_xml_reader();
    c_xml_reader(const c_xml_reader&) = delete;
    c_xml_reader& operator=(const c_xml_reader&) = delete;

    /// The current event. All views are valid until next(); at the end they are empty.
    e_event event() const;
    std::string_view uri() const;        ///< of the element, empty without a namespace
    std::string_view local_name() const; ///< of the element, without a prefix
    std::string_view text() const;       ///< the characters between the previous event and this one
    std::size_t attribute_count() const; ///< of the start tag, declarations of namespaces excluded
    s_attribute attribute(std::size_t index) const;

    void next();
    /// Moves from a start tag past its end tag.
    void skip_element();

    /// Selects the attribute that unmarshal_attributes reads next.
    void select_attribute(std::size_t index);
    s_attribute selected_attribute() const;

    /// Sets the namespace of known elements, and its prefix for messages.
    void set_namespace(const s_ns_map& space);
    /// Whether the current event is the start tag of this element in the namespace.
    bool at_element(std::string_view name) const;
    /// An element's name with the prefix of the namespace.
    std::string qualified_name(std::string_view name) const;
    /// The current element's name for messages: with the prefix of the namespace, or else with the
    /// document's own.
    std::string element_name() const;
    /// The same for the innermost open element; empty at the root and after it.
    std::string open_element() const;

    /// ok, or why reading cannot continue; the handler has received it already.
    elmx_error fatal_error() const;
    /// Passes an error at the current event to the handler.
    /// @return what the handler decided: ok to go on.
    elmx_error handle_error(elmx_error code, std::string element, std::string detail = {});

private:
    class s_parser;
    std::unique_ptr<s_parser> parser_;
    std::string file_;
    error_handler handler_;
    s_ns_map space_ = {"", ""};
    std::size_t selected_ = 0;
    elmx_error fatal_ = elmx_error::ok;

    bool is_known() const; ///< whether the element is in the namespace
    std::string_view prefix() const;
    void report_fatal();
};

} // namespace lmx
