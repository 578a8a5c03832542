// SPDX-License-Identifier: MIT
#include "lmx/xml_writer.h"

#include "lmx/message_text.h"

#include <algorithm>
#include <boost/locale/utf.hpp>
#include <cassert>

namespace lmx {

namespace {

bool isWritable(std::string_view text) {
    namespace utf = boost::locale::utf;
    for (auto next = text.begin(); next != text.end();) {
        const auto code = utf::utf_traits<char>::decode(next, text.end());
        const bool blank = code == '\t' || code == '\n' || code == '\r';
        if (!utf::is_valid_codepoint(code) || (code < 0x20 && !blank) || (code & 0xFFFE) == 0xFFFE)
            return false;
    }
    return true;
}

/// Escapes as canonical XML does; attributes keep their white space only if it is escaped.
void appendEscaped(std::string& out, std::string_view text, bool isAttribute) {
    for (const char c : text) {
        if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else if (c == '>' && !isAttribute)
            out += "&gt;";
        else if (c == '\r')
            out += "&#xD;";
        else if (c == '"' && isAttribute)
            out += "&quot;";
        else if (c == '\t' && isAttribute)
            out += "&#x9;";
        else if (c == '\n' && isAttribute)
            out += "&#xA;";
        else
            out += c;
    }
}

} // namespace

c_xml_writer::c_xml_writer(e_style style, error_handler handler)
    : style_(style), handler_(std::move(handler)) {
    if (style_ == e_style::pretty)
        document_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
}

void c_xml_writer::set_namespace(const s_ns_map& space) {
    space_ = space;
    hasNamespace_ = true;
}

std::string c_xml_writer::qualified_name(std::string_view name) const {
    std::string result = space_.prefix;
    return result.append(result.empty() ? "" : ":").append(name);
}

void c_xml_writer::new_line() {
    if (style_ == e_style::pretty)
        document_.append("\n").append(open_.size(), '\t');
}

void c_xml_writer::start_element(std::string_view name) {
    finish_tag();
    new_line();
    const bool isRoot = open_.empty();
    open_.push_back(qualified_name(name));
    document_.append("<").append(open_.back());
    if (isRoot && *space_.uri) {
        document_.append(*space_.prefix ? " xmlns:" : " xmlns").append(space_.prefix).append("=\"");
        appendEscaped(document_, space_.uri, true);
        document_ += '"';
    }
    tagOpen_ = true;
    afterText_ = false;
}

elmx_error c_xml_writer::attribute(std::string_view name, std::string_view value) {
    assert(tagOpen_);
    if (!isWritable(value))
        return handle_error(elmx_error::textNotWritable, open_.back(), std::string(name));
    attributes_.emplace_back(name, value);
    return elmx_error::ok;
}

void c_xml_writer::finish_tag() {
    if (!tagOpen_)
        return;
    if (style_ == e_style::canonical)
        std::ranges::sort(attributes_);
    for (const auto& [name, value] : attributes_) {
        document_.append(" ").append(name).append("=\"");
        appendEscaped(document_, value, true);
        document_ += '"';
    }
    attributes_.clear();
    document_ += '>';
    tagOpen_ = false;
}

elmx_error c_xml_writer::characters(std::string_view text) {
    finish_tag();
    afterText_ = true;
    if (!isWritable(text))
        return handle_error(elmx_error::textNotWritable, open_.back());
    appendEscaped(document_, text, false);
    return elmx_error::ok;
}

void c_xml_writer::end_element() {
    assert(!open_.empty());
    const bool sameLine = tagOpen_ || afterText_;
    finish_tag();
    const std::string name = std::move(open_.back());
    open_.pop_back();
    if (!sameLine)
        new_line();
    document_.append("</").append(name).append(">");
    afterText_ = false;
    if (open_.empty() && style_ == e_style::pretty)
        document_ += '\n';
}

elmx_error c_xml_writer::handle_error(elmx_error code, std::string element, std::string detail) {
    return handler_ ? handler_({code, shown(element, 80), shown(detail, 120), {}, 0}) : code;
}

} // namespace lmx
