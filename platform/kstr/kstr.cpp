// SPDX-License-Identifier: MIT
#include "kstr/kstr.h"

#include "kfnp/kfnp.h"
#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"

#include <clocale>
#include <cstdlib>
#include <cwctype>

char16_t* kstr_Duplicate(std::u16string_view text) {
    auto* copy = static_cast<char16_t*>(kmsc_HeapCalloc(text.size() + 1, sizeof(char16_t)));
    if (copy)
        text.copy(copy, text.size());
    return copy;
}

namespace {

std::u16string textOf(const kstr::Argument& argument) {
    if (const auto* text = std::get_if<std::u16string_view>(&argument))
        return std::u16string(*text);
    const std::string digits = std::to_string(std::get<long>(argument));
    return std::u16string(digits.begin(), digits.end());
}

// The process locale is the host's; case mapping must not depend on it.
char16_t upper(char16_t unit) {
    static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (unit < 0x80 || !unicode)
        return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 32) : unit;
    return static_cast<char16_t>(towupper_l(unit, unicode));
}

} // namespace

namespace kstr {

std::u16string format(std::u16string_view format, std::initializer_list<Argument> arguments) {
    std::u16string text;
    const auto* argument = arguments.begin();
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] != u'%' || i + 1 == format.size()) {
            text += format[i];
            continue;
        }
        const char16_t kind = format[++i];
        if (kind == u'%')
            text += u'%';
        else if (argument != arguments.end())
            text += textOf(*argument++);
    }
    return text;
}

} // namespace kstr

char16_t* kstr_Sprintf(std::u16string_view format,
                       std::initializer_list<kstr::Argument> arguments) {
    return kstr_Duplicate(kstr::format(format, arguments));
}

bool kstr_Eqic(std::u16string_view a, std::u16string_view b) {
    return a.size() == b.size() && kstr_Eqnic(a, b, a.size());
}

bool kstr_Eqnic(std::u16string_view a, std::u16string_view b, std::size_t n) {
    a = a.substr(0, n);
    b = b.substr(0, n);
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (upper(a[i]) != upper(b[i]))
            return false;
    return true;
}

char16_t* kstr_PathExpand(std::u16string_view name) {
    const bool home = name == u"~" || name.substr(0, 2) == u"~/";
    const char* directory = home ? std::getenv("HOME") : nullptr;
    if (directory)
        return kstr_Duplicate(ktxt::widen(directory) + std::u16string(name.substr(1)));
    return kstr_Duplicate(ktxt::widen(kfnp::absolute(ktxt::narrow(name))));
}

void kstr_RemoveChars(std::u16string& text, std::u16string_view what) {
    if (what.empty())
        return;
    for (auto at = text.find(what); at != std::u16string::npos; at = text.find(what, at))
        text.erase(at, what.size());
}

const char16_t* KstrStringList::operator[](int i) const {
    const bool inside = i >= 0 && i < static_cast<int>(strings_.size());
    return inside ? strings_[static_cast<std::size_t>(i)].c_str() : u"";
}

void KstrStringList::append(std::u16string_view text) {
    filled_ = true;
    strings_.emplace_back(text);
}
