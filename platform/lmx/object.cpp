// SPDX-License-Identifier: MIT
#include "lmx/object.h"
#include "lmx/list_tokeniser.h"

#include <algorithm>
#include <cassert>

namespace lmx {

namespace {

template <class T>
constexpr bool isVector = false;
template <class T>
constexpr bool isVector<std::vector<T>> = true;

template <class T>
constexpr bool isSingleValue = !isVector<T> && !std::is_same_v<T, child_ptr>;

/// Calls body with this object's member, whatever its type.
template <class Object, class Body>
decltype(auto) visit(Object& object, const s_member& member, Body body) {
    return std::visit([&](auto pointer) -> decltype(auto) { return body(object.*pointer); },
                      member.storage);
}

bool isList(const s_member& member) {
    return member.type && member.type->isList;
}
bool mayBeEmpty(const s_member& member) {
    return member.type->minItems == 0 && member.minOccurs > 0;
}

void assign(child_ptr& to, const child_ptr& from) {
    to = from ? from->clone() : nullptr;
}
void assign(child_list& to, const child_list& from) {
    child_list copies(from.size());
    std::ranges::transform(from, copies.begin(), [](const auto& child) { return child->clone(); });
    to = std::move(copies);
}
template <class T>
void assign(T& to, const T& from) {
    to = from;
}

} // namespace

c_object::~c_object() = default;

void c_object::copy_members(const c_object& other) {
    for (const auto& each : description().members)
        std::visit([&](auto pointer) { assign(this->*pointer, other.*pointer); }, each.storage);
    present_ = other.present_;
}

// NOLINTNEXTLINE(bugprone-exception-escape)
void c_object::swap_members(c_object& other) noexcept {
    for (const auto& each : description().members)
        std::visit([&](auto pointer) { std::swap(this->*pointer, other.*pointer); }, each.storage);
    std::swap(present_, other.present_);
}

void c_object::clear_values() {
    for (std::size_t i = 0; i < description().members.size(); ++i)
        if (!member(i).child)
            remove(i);
}

void c_object::free_children() {
    for (std::size_t i = 0; i < description().members.size(); ++i)
        if (member(i).child)
            remove(i);
}

void c_object::remove(std::size_t index) {
    visit(*this, member(index),
          [](auto& value) { value = std::remove_cvref_t<decltype(value)>(); });
    present_ &= ~(std::uint64_t{1} << index);
}

std::size_t c_object::occurrences(std::size_t index) const {
    return visit(*this, member(index), [&](const auto& value) -> std::size_t {
        using T = std::remove_cvref_t<decltype(value)>;
        if constexpr (std::is_same_v<T, child_ptr>)
            return value != nullptr;
        else if constexpr (isVector<T>)
            // A list in one element counts as one occurrence if it has items, or if it must be
            // present and may be empty.
            return !isList(member(index)) ? value.size()
                   : value.empty()        ? mayBeEmpty(member(index))
                                          : 1;
        else
            return present_ >> index & 1;
    });
}

bool c_object::is_length_ok(std::size_t index) const {
    const auto& list = member(index);
    return !isList(list) || visit(*this, list, [&](const auto& value) {
        using T = std::remove_cvref_t<decltype(value)>;
        if constexpr (isVector<T>)
            return value.size() >= list.type->minItems && value.size() <= list.type->maxItems;
        return true;
    });
}

bool c_object::is_present(std::size_t index) const {
    return occurrences(index) > 0;
}

bool c_object::occurrences_ok() const {
    if (description().isChoice)
        return chosen() != 0;
    for (std::size_t i = 0; i < description().members.size(); ++i)
        if (const auto count = occurrences(i); count < member(i).minOccurs ||
                                               count > member(i).maxOccurs ||
                                               (count > 0 && !is_length_ok(i)))
            return false;
    return true;
}

int c_object::chosen() const {
    for (std::size_t i = 0; i < description().members.size(); ++i)
        if (is_present(i))
            return static_cast<int>(i) + 1;
    return 0;
}

template <class T>
elmx_error c_object::set_value(std::size_t index, T value) {
    const auto& target = member(index);
    if constexpr (std::is_same_v<T, std::string>)
        if (target.fixed && value != target.fixed)
            return elmx_error::valueNotFixed;
    if (const auto error = check_value(value, *target.type); error != elmx_error::ok)
        return error;
    this->*std::get<T c_object::*>(target.storage) = std::move(value);
    present_ |= std::uint64_t{1} << index;
    return elmx_error::ok;
}

template <class T>
elmx_error c_object::put_item(std::size_t index, std::size_t at, T value, bool insert) {
    const auto& target = member(index);
    if (const auto error = check_value(value, *target.type); error != elmx_error::ok)
        return error;
    auto& list = this->*std::get<std::vector<T> c_object::*>(target.storage);
    if (at >= list.size())
        list.push_back(std::move(value));
    else if (insert)
        list.insert(list.begin() + static_cast<std::ptrdiff_t>(at), std::move(value));
    else
        list[at] = std::move(value);
    return elmx_error::ok;
}

int c_object::enum_code(std::size_t index) const {
    const auto& target = member(index);
    return visit(*this, target, [&](const auto& value) {
        using T = std::remove_cvref_t<decltype(value)>;
        if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, c_big_int>)
            for (const auto& allowed : target.type->values) {
                if constexpr (std::is_same_v<T, std::string>) {
                    if (value == allowed.text)
                        return allowed.code;
                } else if (value == *c_big_int::from_string(allowed.text))
                    return allowed.code;
            }
        return 0;
    });
}

bool c_object::set_enum_code(std::size_t index, int code) {
    const auto& values = member(index).type->values;
    const auto found = std::ranges::find(values, code, &s_enum_value::code);
    return found != values.end() && parse_into(index, found->text) == elmx_error::ok;
}

elmx_error c_object::parse_into(std::size_t index, std::string_view text) {
    const auto& type = *member(index).type;
    return visit(*this, member(index), [&](auto& value) {
        using T = std::remove_cvref_t<decltype(value)>;
        if constexpr (isSingleValue<T>) {
            const auto error = parse_value(text, type, value);
            if (error == elmx_error::ok)
                present_ |= std::uint64_t{1} << index;
            return error;
        } else if constexpr (isVector<T> && !std::is_same_v<T, child_list>) {
            const auto add = [&](std::string_view itemText) {
                typename T::value_type each{};
                const auto error = parse_value(itemText, type, each);
                if (error == elmx_error::ok)
                    value.push_back(std::move(each));
                return error;
            };
            if (!type.isList)
                return add(text);
            value.clear();
            c_xml_list_tokeniser tokens(text);
            auto error = elmx_error::ok;
            for (std::string_view token; error == elmx_error::ok && tokens.next(token);)
                error = value.size() == type.maxItems ? elmx_error::lengthOutOfBounds : add(token);
            if (error == elmx_error::ok && value.size() < type.minItems)
                error = elmx_error::lengthOutOfBounds;
            return error;
        } else {
            assert(false && "an object has no text");
            return elmx_error::valueInvalid;
        }
    });
}

template elmx_error c_object::set_value(std::size_t, bool);
template elmx_error c_object::set_value(std::size_t, double);
template elmx_error c_object::set_value(std::size_t, std::uint8_t);
template elmx_error c_object::set_value(std::size_t, std::uint16_t);
template elmx_error c_object::set_value(std::size_t, std::uint32_t);
template elmx_error c_object::set_value(std::size_t, std::uint64_t);
template elmx_error c_object::set_value(std::size_t, std::string);
template elmx_error c_object::set_value(std::size_t, c_datetime);
template elmx_error c_object::set_value(std::size_t, c_big_int);
template elmx_error c_object::put_item(std::size_t, std::size_t, bool, bool);
template elmx_error c_object::put_item(std::size_t, std::size_t, double, bool);
template elmx_error c_object::put_item(std::size_t, std::size_t, std::uint8_t, bool);
template elmx_error c_object::put_item(std::size_t, std::size_t, std::uint16_t, bool);
template elmx_error c_object::put_item(std::size_t, std::size_t, std::uint32_t, bool);
template elmx_error c_object::put_item(std::size_t, std::size_t, std::uint64_t, bool);
template elmx_error c_object::put_item(std::size_t, std::size_t, std::string, bool);
template elmx_error c_object::put_item(std::size_t, std::size_t, c_datetime, bool);
template elmx_error c_object::put_item(std::size_t, std::size_t, c_big_int, bool);

} // namespace lmx
