// SPDX-License-Identifier: MIT
#pragma once

#include "lmx/simple_type.h"
#include "lmx/xml_reader.h"
#include "lmx/xml_writer.h"

#include <memory>
#include <variant>
#include <vector>

namespace lmx {

class c_object;
struct s_class;

using child_ptr = std::unique_ptr<c_object>;
using child_list = std::vector<std::unique_ptr<c_object>>;

/// Where a member of a bound class is stored: one alternative for each type that a member can have.
using member_storage =
    std::variant<bool c_object::*, double c_object::*, std::uint8_t c_object::*,
                 std::uint16_t c_object::*, std::uint32_t c_object::*, std::uint64_t c_object::*,
                 std::string c_object::*, c_datetime c_object::*, c_big_int c_object::*,
                 std::vector<bool> c_object::*, std::vector<double> c_object::*,
                 std::vector<std::uint8_t> c_object::*, std::vector<std::uint16_t> c_object::*,
                 std::vector<std::uint32_t> c_object::*, std::vector<std::uint64_t> c_object::*,
                 std::vector<std::string> c_object::*, std::vector<c_datetime> c_object::*,
                 std::vector<c_big_int> c_object::*, child_ptr c_object::*, child_list c_object::*>;

enum class e_member {
    attribute,
    text, ///< the characters of an element that has attributes
    element,
    choice ///< stands for one of several elements; has no element of its own
};

struct s_member {
    const char* name;
    e_member kind;
    std::size_t minOccurs, maxOccurs;
    const s_simple_type* type; ///< null for members that are objects
    const char* fixed;         ///< the only text that an attribute may have, or null
    const s_class* child;      ///< null for members that are values
    child_ptr (*create)();     ///< makes a child
    member_storage storage;
};

/// Description of a class of a schema: its members, elements in document order. An object of a
/// choice has one of them.
struct s_class {
    const char* name;
    std::span<const s_member> members;
    bool isChoice;
};

/// The document element of a schema and the namespaces to read and write it with.
struct s_root {
    const char* name;
    std::span<const s_ns_map> readable;
    s_ns_map written;
};

/// Base of every bound class: reads, writes, checks and copies an object by its s_class. A value:
/// any number of threads may read one, or one change it.
class RF_PLATFORM_API c_object {
public:
    virtual ~c_object();

    virtual const s_class& description() const = 0;
    virtual child_ptr clone() const = 0;

    /// Reads the element whose start tag the reader stands at, and leaves the reader behind its end
    /// tag. What the object held before is gone. On failure it holds what was read so far. At the
    /// end of a document there is nothing to read, which is an error whatever the handler says.
    /// @return ok, or the code that the reader's handler stopped with.
    virtual elmx_error unmarshal(c_xml_reader& reader, std::string_view name) = 0;
    /// The steps of unmarshal: @return false, with error set, to stop.
    virtual bool unmarshal_attributes(c_xml_reader& reader, elmx_error& error) = 0;
    virtual bool unmarshal_attributes_check(c_xml_reader& reader, elmx_error& error) = 0;
    virtual bool unmarshal_body(c_xml_reader& reader, elmx_error& error) = 0;

    /// Writes the object as an element. @return ok, or the code the writer's handler stopped with.
    virtual elmx_error marshal(c_xml_writer& writer, std::string_view name) const = 0;
    /// The steps of marshal.
    virtual elmx_error marshal_attributes(c_xml_writer& writer) const = 0;
    virtual elmx_error marshal_child_elements(c_xml_writer& writer) const = 0;

protected:
    c_object() = default;
    c_object(const c_object&) {} // a class copies its members with copy_members
    // cppcheck-suppress operatorEqVarError ; so does an assignment
    c_object& operator=(const c_object&) { return *this; }

    void copy_members(const c_object& other);
    // Visiting a member throws only when its storage holds nothing, which a table entry cannot.
    void swap_members(c_object& other) noexcept; // NOLINT(bugprone-exception-escape)
    /// Every value becomes 0, empty or false, and absent.
    void clear_values();
    void free_children();

    elmx_error read_element(c_xml_reader& reader, std::string_view name);
    /// read_element for the root: settles the namespace, and reads to the end of the document. The
    /// root's class may also occur inside a document, like any other.
    elmx_error read_root(c_xml_reader& reader, const s_root& root, std::string_view name);
    bool read_attribute(c_xml_reader& reader, elmx_error& error);
    bool check_attributes(c_xml_reader& reader, elmx_error& error);
    bool read_body(c_xml_reader& reader, elmx_error& error);
    elmx_error write_element(c_xml_writer& writer, std::string_view name) const;
    elmx_error write_attributes(c_xml_writer& writer) const;
    elmx_error write_children(c_xml_writer& writer) const;

    /// Whether each member occurs as often as it must, and each list has the right length. Does not
    /// check children.
    bool occurrences_ok() const;
    bool is_present(std::size_t member) const;
    void remove(std::size_t member);

    /// Stores a value that fits the member's type and marks it present.
    template <class T>
    elmx_error set_value(std::size_t index, T value);
    /// Replaces the at-th item by one that fits, or inserts before it; beyond the last item,
    /// appends.
    template <class T>
    elmx_error put_item(std::size_t index, std::size_t at, T value, bool insert);

    /// The code of the member's value in its set, 0 when it has none.
    int enum_code(std::size_t member) const;
    /// Stores the text of a code of the member's set. @return false when the set has no such code.
    bool set_enum_code(std::size_t member, int code);

    /// The number of the child that a choice holds, from 1; 0 when it is empty.
    int chosen() const;

    /// Reads a whole document into this object. Never throws.
    /// @return ok, or the code of the error that ended the reading; withoutNamespace for a valid
    ///         document whose root has no namespace, if the root allows that.
    elmx_error bind_document(std::string_view document, const std::string& file, const s_root& root,
                             const error_handler& handler) noexcept;
    elmx_error bind_file(const char* path, const s_root& root,
                         const error_handler& handler) noexcept;
    elmx_error bind_file(const char16_t* path, const s_root& root,
                         const error_handler& handler) noexcept;

private:
    class ElementReader;
    const s_member& member(std::size_t index) const { return description().members[index]; }
    std::size_t occurrences(std::size_t index) const;
    /// Whether a list in one element or attribute has a valid number of items.
    bool is_length_ok(std::size_t index) const;
    bool read_text(c_xml_reader& reader, std::size_t index, elmx_error& error);
    elmx_error parse_into(std::size_t index, std::string_view text);
    elmx_error write_member(c_xml_writer& writer, std::size_t index) const;

    std::uint64_t present_ = 0; ///< one bit for each member that is a single value
};

/// The default of a type, for missing children.
template <class T>
const T& missing() {
    static const T none{};
    return none;
}

/// A default object of the calling thread, for writes that have no effect.
template <class T>
T& spare() {
    thread_local T none;
    none = T();
    return none;
}

/// The index-th item of a list, or the type's default.
template <class T>
const T& item(const std::vector<T>& list, std::size_t index) {
    return index < list.size() ? list[index] : missing<T>();
}
inline bool item(const std::vector<bool>& list, std::size_t index) {
    return index < list.size() && list[index];
}
template <class T>
const T& child_item(const child_list& list, std::size_t index) {
    return index < list.size() ? static_cast<const T&>(*list[index]) : missing<T>();
}
template <class T>
T& child_item(child_list& list, std::size_t index) {
    return index < list.size() ? static_cast<T&>(*list[index]) : spare<T>();
}
template <class T>
const T& child_or_missing(const child_ptr& child) {
    return child ? static_cast<const T&>(*child) : missing<T>();
}
template <class T>
T& child_or_new(child_ptr& child) {
    if (!child)
        child = std::make_unique<T>();
    return static_cast<T&>(*child);
}
/// Replaces the index-th child by a copy, or inserts the copy before it; beyond the last child,
/// appends.
template <class T>
T& put_child(child_list& list, std::size_t index, const T& value, bool insert) {
    auto copy = std::make_unique<T>(value);
    T& stored = *copy;
    if (index >= list.size())
        list.push_back(std::move(copy));
    else if (insert)
        list.insert(list.begin() + static_cast<std::ptrdiff_t>(index), std::move(copy));
    else
        list[index] = std::move(copy);
    return stored;
}
template <class List>
void delete_item(List& list, std::size_t index) {
    if (index < list.size())
        list.erase(list.begin() + static_cast<std::ptrdiff_t>(index));
}

} // namespace lmx
