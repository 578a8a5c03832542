// SPDX-License-Identifier: MIT
#include "lmx/object.h"

#include "lmx/list_tokeniser.h"
#include "lmx/message_text.h"

#include "kfio/kfio.h"
#include "ktxt/ktxt.h"

#include <algorithm>

namespace lmx {

namespace {

constexpr std::string_view instanceUri = "http://www.w3.org/2001/XMLSchema-instance";

/// An attribute that only names the schema's location for validators.
bool isSchemaHint(const s_attribute& attribute) {
    return attribute.uri == instanceUri &&
           (attribute.name == "schemaLocation" || attribute.name == "noNamespaceSchemaLocation");
}

bool isBlank(std::string_view text) {
    return text.find_first_not_of(whiteSpace) == std::string_view::npos;
}

/// Whether the reader is at the element of a member, or at one of a choice's elements.
bool standsAt(const c_xml_reader& reader, const s_member& member) {
    if (member.kind != e_member::choice)
        return reader.at_element(member.name);
    return std::ranges::any_of(member.child->members, [&](const s_member& alternative) {
        return reader.at_element(alternative.name);
    });
}

/// A missing mandatory choice is reported by the name of its first alternative.
std::string nameOf(const c_xml_reader& reader, const s_member& member) {
    const auto& named = member.kind == e_member::choice ? member.child->members.front() : member;
    return reader.qualified_name(named.name);
}

std::string whatStands(const c_xml_reader& reader) {
    if (reader.event() == c_xml_reader::e_event::start)
        return "found " + reader.element_name();
    return "found the end of the element";
}

/// At the end of a document reading stops, whatever the handler returns.
elmx_error refuseEnd(c_xml_reader& reader, std::string_view name) {
    if (reader.fatal_error() != elmx_error::ok)
        return reader.fatal_error();
    reader.handle_error(elmx_error::elementMissing, reader.qualified_name(name),
                        "found the end of the document");
    return elmx_error::elementMissing;
}

std::string nameOf(const s_attribute& attribute) {
    std::string name(attribute.prefix);
    return name.append(name.empty() ? "" : ":").append(attribute.name);
}

/// Separate parts of a value are not concatenated: 1 and 2 are not 12.
void appendPart(std::string& value, std::string_view part) {
    if (!value.empty() && !part.empty())
        value += ' ';
    value += part;
}

} // namespace

/// Reads the children of one object in the order of its class.
class c_object::ElementReader {
public:
    ElementReader(c_object& object, c_xml_reader& reader, elmx_error& error)
        : object_(object), members_(object.description().members), reader_(reader), error_(error) {}

    bool readSequence() {
        if (!arrive())
            return false;
        for (std::size_t i = 0; i < members_.size(); ++i)
            if (members_[i].kind >= e_member::element && !readMember(i))
                return false;
        while (reader_.event() == c_xml_reader::e_event::start)
            if (!refuseElement())
                return false;
        return !stopped();
    }

    bool readChoice() {
        const auto chosen = std::ranges::find_if(
            members_, [&](const auto& each) { return standsAt(reader_, each); });
        if (chosen != members_.end())
            return readOne(std::size_t(chosen - members_.begin()));
        return go(reader_.handle_error(elmx_error::elementMissing,
                                       nameOf(reader_, members_.front()), whatStands(reader_)));
    }

private:
    /// Reads all occurrences of a member and reports a missing one once. An element that neither
    /// this nor a later member takes is an error and, if tolerated, skipped; an element of a later
    /// member is left for it.
    bool readMember(std::size_t index) {
        const auto& member = members_[index];
        for (std::size_t count = 0; count < member.maxOccurs;) {
            if (standsAt(reader_, member)) {
                if (!readOne(index) || !arrive())
                    return false;
                ++count;
            } else if (reader_.event() == c_xml_reader::e_event::start && !isAwaited(index + 1)) {
                if (!refuseElement())
                    return false;
            } else if (count >= member.minOccurs) {
                return true;
            } else {
                return !stopped() &&
                       go(reader_.handle_error(elmx_error::elementMissing, nameOf(reader_, member),
                                               whatStands(reader_)));
            }
        }
        return true;
    }

    bool readOne(std::size_t index) {
        const auto& member = members_[index];
        if (!member.child)
            return object_.read_text(reader_, index, error_);
        auto child = member.create();
        auto& stored = *child;
        if (const auto list = std::get_if<child_list c_object::*>(&member.storage))
            (object_.**list).push_back(std::move(child));
        else
            object_.*std::get<child_ptr c_object::*>(member.storage) = std::move(child);
        return go(stored.unmarshal(reader_, member.name));
    }

    bool isAwaited(std::size_t from) const {
        return std::ranges::any_of(members_.subspan(from),
                                   [&](const auto& each) { return standsAt(reader_, each); });
    }

    bool refuseElement() {
        const auto code =
            isAwaited(0) ? elmx_error::elementMisplaced : elmx_error::elementUnexpected;
        if (!go(reader_.handle_error(code, reader_.element_name(), "in " + reader_.open_element())))
            return false;
        reader_.skip_element();
        return arrive();
    }

    /// Called once at each event: only blanks may precede it.
    bool arrive() {
        if (reader_.event() == c_xml_reader::e_event::stop || isBlank(reader_.text()))
            return true;
        return go(reader_.handle_error(elmx_error::textUnexpected, reader_.open_element(),
                                       shown(reader_.text())));
    }

    bool go(elmx_error decision) {
        error_ = decision;
        return decision == elmx_error::ok;
    }
    bool stopped() { return !go(reader_.fatal_error()); }

    c_object& object_;
    std::span<const s_member> members_;
    c_xml_reader& reader_;
    elmx_error& error_;
};

elmx_error c_object::read_element(c_xml_reader& reader, std::string_view name) {
    free_children();
    clear_values();
    if (reader.event() == c_xml_reader::e_event::stop)
        return refuseEnd(reader, name);
    auto error = elmx_error::ok;
    if (!description().isChoice) {
        if (!reader.at_element(name))
            return reader.handle_error(elmx_error::elementMissing, reader.qualified_name(name),
                                       whatStands(reader));
        for (std::size_t i = 0; i < reader.attribute_count(); ++i) {
            reader.select_attribute(i);
            if (!unmarshal_attributes(reader, error))
                return error;
        }
        if (!unmarshal_attributes_check(reader, error))
            return error;
    }
    unmarshal_body(reader, error);
    return error;
}

bool c_object::read_attribute(c_xml_reader& reader, elmx_error& error) {
    const auto found = reader.selected_attribute();
    if (isSchemaHint(found))
        return true;
    const auto members = description().members;
    const auto known = std::ranges::find_if(members, [&](const s_member& each) {
        return each.kind == e_member::attribute && found.uri.empty() && found.name == each.name;
    });
    const auto report = [&](elmx_error code) {
        error = reader.handle_error(code, reader.element_name(),
                                    nameOf(found) + "=\"" + shown(found.value) + "\"");
        return error == elmx_error::ok;
    };
    if (known == members.end())
        return report(elmx_error::attributeUnknown);
    const auto index = static_cast<std::size_t>(known - members.begin());
    if (is_present(index))
        return report(elmx_error::attributeRepeated);
    if (known->fixed && found.value != known->fixed)
        return report(elmx_error::valueNotFixed);
    const auto code = parse_into(index, found.value);
    if (code == elmx_error::ok)
        return true;
    return report(code == elmx_error::valueInvalid ? elmx_error::attributeUnreadable : code);
}

bool c_object::check_attributes(c_xml_reader& reader, elmx_error& error) {
    for (std::size_t i = 0; i < description().members.size(); ++i) {
        const auto& each = member(i);
        if (each.kind != e_member::attribute || each.minOccurs == 0 || is_present(i))
            continue;
        error = reader.handle_error(elmx_error::attributeMissing, reader.element_name(), each.name);
        if (error != elmx_error::ok)
            return false;
    }
    return true;
}

bool c_object::read_body(c_xml_reader& reader, elmx_error& error) {
    ElementReader children(*this, reader, error);
    if (description().isChoice)
        return children.readChoice();
    const auto members = description().members;
    const auto text = std::ranges::find(members, e_member::text, &s_member::kind);
    if (text != members.end())
        return read_text(reader, static_cast<std::size_t>(text - members.begin()), error);
    reader.next();
    if (!children.readSequence())
        return false;
    reader.next();
    return true;
}

bool c_object::read_text(c_xml_reader& reader, std::size_t index, elmx_error& error) {
    const auto go = [&](elmx_error decision) {
        error = decision;
        return decision == elmx_error::ok;
    };
    const auto element = [&] { return reader.qualified_name(member(index).name); };
    // A simple element of a class has no attributes; one with attributes has a class of its own.
    if (member(index).kind == e_member::element)
        for (std::size_t i = 0; i < reader.attribute_count(); ++i)
            if (const auto found = reader.attribute(i); !isSchemaHint(found))
                if (!go(reader.handle_error(elmx_error::attributeUnknown, element(),
                                            nameOf(found))))
                    return false;
    reader.next();
    std::string before; // text before a skipped child
    while (reader.event() == c_xml_reader::e_event::start) {
        appendPart(before, reader.text());
        if (!go(reader.handle_error(elmx_error::elementUnexpected, reader.element_name(),
                                    "in " + element())))
            return false;
        reader.skip_element();
    }
    if (reader.event() == c_xml_reader::e_event::stop)
        return go(reader.fatal_error());
    if (!before.empty())
        appendPart(before, reader.text());
    const auto text = before.empty() ? reader.text() : std::string_view(before);
    const auto code = parse_into(index, text);
    if (code != elmx_error::ok && !go(reader.handle_error(code, element(), shown(text))))
        return false;
    reader.next();
    return true;
}

elmx_error c_object::read_root(c_xml_reader& reader, const s_root& root, std::string_view name) {
    if (reader.event() == c_xml_reader::e_event::stop)
        return refuseEnd(reader, root.name);
    if (!reader.open_element().empty())
        return read_element(reader, name);
    const auto readable = std::ranges::find_if(
        root.readable, [&](const s_ns_map& space) { return reader.uri() == space.uri; });
    if (readable == root.readable.end() || reader.local_name() != root.name) {
        reader.handle_error(elmx_error::wrongRoot, reader.element_name(),
                            "namespace \"" + std::string(reader.uri()) + "\"");
        return elmx_error::wrongRoot;
    }
    reader.set_namespace(*readable);
    auto error = read_element(reader, root.name);
    if (error == elmx_error::ok)
        error = reader.fatal_error(); // what follows the root may not be well formed
    if (error == elmx_error::ok && *readable->uri == '\0')
        return elmx_error::withoutNamespace;
    return error;
}

elmx_error c_object::bind_document(std::string_view document, const std::string& file,
                                   const s_root& root, const error_handler& handler) noexcept {
    try {
        c_xml_reader reader(document, file, handler);
        return read_root(reader, root, root.name);
    } catch (const std::bad_alloc&) {
        return elmx_error::outOfMemory;
    }
}

elmx_error c_object::bind_file(const char* path, const s_root& root,
                               const error_handler& handler) noexcept {
    try {
        std::string reason;
        const auto document = kfio::readDocument(path, reason);
        if (document)
            return bind_document(*document, path, root, handler);
        if (handler)
            handler({elmx_error::notOpened, {}, reason, path, 0});
        return elmx_error::notOpened;
    } catch (const std::bad_alloc&) {
        return elmx_error::outOfMemory;
    }
}

elmx_error c_object::bind_file(const char16_t* path, const s_root& root,
                               const error_handler& handler) noexcept {
    std::string narrow;
    try {
        narrow = ktxt::narrow(path);
    } catch (const std::bad_alloc&) {
        return elmx_error::outOfMemory;
    } catch (const std::exception&) { // no valid UTF-16 can be the name of a file
        if (handler)
            handler({elmx_error::notOpened, {}, "its name is not valid UTF-16", {}, 0});
        return elmx_error::notOpened;
    }
    return bind_file(narrow.c_str(), root, handler);
}

} // namespace lmx
