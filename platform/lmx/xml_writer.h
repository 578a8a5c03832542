// SPDX-License-Identifier: MIT
#pragma once

#include "lmx/error.h"
#include "lmx/ns_map.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lmx {

/// Writes an XML document into memory, UTF-8. One thread at a time uses an object.
class RF_PLATFORM_API c_xml_writer {
public:
    enum class e_style {
        pretty,   ///< a declaration, one element a line, indented by tabs
        canonical ///< no declaration, nothing between elements, attributes in order of their names
    };

    explicit c_xml_writer(e_style style = e_style::pretty, error_handler handler = {});

    /// Sets the namespace of all elements; the first element declares it. An empty prefix makes it
    /// the default namespace; an empty uri means no namespace. A document class sets its own
    /// namespace only if none was set.
    void set_namespace(const s_ns_map& space);
    bool has_namespace() const { return hasNamespace_; }
    void start_element(std::string_view name);
    /// Must be called after start_element, before anything else.
    elmx_error attribute(std::string_view name, std::string_view value);
    elmx_error characters(std::string_view text);
    void end_element();

    const std::string& document() const { return document_; }

    /// Passes an error to the handler. @return what it decided: ok to go on.
    elmx_error handle_error(elmx_error code, std::string element, std::string detail = {});
    /// The element's name with the prefix of the namespace.
    std::string qualified_name(std::string_view name) const;
    /// The innermost element that is open, for messages; empty when none is.
    std::string open_element() const { return open_.empty() ? std::string() : open_.back(); }

private:
    void finish_tag();
    void new_line();

    e_style style_;
    error_handler handler_;
    s_ns_map space_ = {"", ""};
    bool hasNamespace_ = false;
    std::string document_;
    std::vector<std::string> open_; ///< qualified names
    std::vector<std::pair<std::string, std::string>> attributes_;
    bool tagOpen_ = false;   ///< the start tag still takes attributes
    bool afterText_ = false; ///< an end tag stands on the line of its text
};

} // namespace lmx
