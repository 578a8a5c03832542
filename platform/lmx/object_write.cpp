// SPDX-License-Identifier: MIT
#include "lmx/object.h"

namespace lmx {

namespace {

/// The text of a single value, or the items of a list in one text.
template <class T>
std::string textOf(const T& value) {
    return format_value(value);
}
template <class T>
std::string textOf(const std::vector<T>& list) {
    std::string text;
    for (const auto& each : list)
        text.append(text.empty() ? "" : " ").append(format_value(each));
    return text;
}
std::string textOf(const child_ptr&) {
    return {};
}
std::string textOf(const child_list&) {
    return {};
}

elmx_error writeSimple(c_xml_writer& writer, const char* name, const std::string& text) {
    writer.start_element(name);
    const auto error = writer.characters(text);
    writer.end_element();
    return error;
}

elmx_error write(c_xml_writer& writer, const s_member& member, const child_ptr& child) {
    return child ? child->marshal(writer, member.name) : elmx_error::ok;
}
elmx_error write(c_xml_writer& writer, const s_member& member, const child_list& children) {
    for (const auto& child : children)
        if (const auto error = child->marshal(writer, member.name); error != elmx_error::ok)
            return error;
    return elmx_error::ok;
}
template <class T>
elmx_error write(c_xml_writer& writer, const s_member& member, const std::vector<T>& list) {
    if (member.type->isList)
        return writeSimple(writer, member.name, textOf(list));
    for (const auto& each : list)
        if (const auto error = writeSimple(writer, member.name, format_value(each));
            error != elmx_error::ok)
            return error;
    return elmx_error::ok;
}
template <class T>
elmx_error write(c_xml_writer& writer, const s_member& member, const T& value) {
    return writeSimple(writer, member.name, format_value(value));
}

} // namespace

elmx_error c_object::write_element(c_xml_writer& writer, std::string_view name) const {
    if (description().isChoice)
        return marshal_child_elements(writer);
    writer.start_element(name);
    auto error = marshal_attributes(writer);
    if (error == elmx_error::ok)
        error = marshal_child_elements(writer);
    writer.end_element();
    return error;
}

elmx_error c_object::write_attributes(c_xml_writer& writer) const {
    for (std::size_t i = 0; i < description().members.size(); ++i) {
        const auto& each = member(i);
        if (each.kind != e_member::attribute)
            continue;
        auto error = elmx_error::ok;
        if (!is_present(i))
            error = each.minOccurs == 0 ? elmx_error::ok
                                        : writer.handle_error(elmx_error::attributeMissing,
                                                              writer.open_element(), each.name);
        else if (!is_length_ok(i))
            error = writer.handle_error(elmx_error::lengthOutOfBounds, writer.open_element(),
                                        each.name);
        if (error == elmx_error::ok && is_present(i))
            error = std::visit(
                [&](auto pointer) { return writer.attribute(each.name, textOf(this->*pointer)); },
                each.storage);
        if (error != elmx_error::ok)
            return error;
    }
    return elmx_error::ok;
}

elmx_error c_object::write_children(c_xml_writer& writer) const {
    if (description().isChoice && chosen() == 0)
        return writer.handle_error(elmx_error::elementMissing,
                                   writer.qualified_name(description().members.front().name),
                                   "in " + writer.open_element());
    for (std::size_t i = 0; i < description().members.size(); ++i)
        if (member(i).kind != e_member::attribute)
            if (const auto error = write_member(writer, i); error != elmx_error::ok)
                return error;
    return elmx_error::ok;
}

elmx_error c_object::write_member(c_xml_writer& writer, std::size_t index) const {
    const auto& each = member(index);
    const auto count = occurrences(index);
    const auto refuse = [&](elmx_error code) {
        return writer.handle_error(code, writer.qualified_name(each.name),
                                   "in " + writer.open_element());
    };
    auto error = elmx_error::ok;
    if (count < each.minOccurs && !description().isChoice)
        error = refuse(elmx_error::elementMissing);
    else if (count > each.maxOccurs)
        error = refuse(elmx_error::tooManyElements);
    else if (count > 0 && !is_length_ok(index))
        error = refuse(elmx_error::lengthOutOfBounds);
    if (error != elmx_error::ok || count == 0)
        return error;
    return std::visit(
        [&](auto pointer) {
            if (each.kind == e_member::text)
                return writer.characters(textOf(this->*pointer));
            return write(writer, each, this->*pointer);
        },
        each.storage);
}

} // namespace lmx
