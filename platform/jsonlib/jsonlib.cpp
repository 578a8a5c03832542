// SPDX-License-Identifier: MIT
#include "jsonlib/jsonlib.h"

#include "kerr/kerr.h"
#include "jsonlib/document_size.h"
#include "ktxt/ktxt.h"

#include <json/json.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <locale>

namespace tolvan::jsonlib {
namespace {

const Json::Value& json(const std::shared_ptr<const void>& item) {
    return item ? *static_cast<const Json::Value*>(item.get()) : Json::Value::nullSingleton();
}

const char* typeName(const Json::Value& value) {
    switch (value.type()) {
    case Json::nullValue:
        return "null";
    case Json::intValue:
    case Json::uintValue:
    case Json::realValue:
        return "a number";
    case Json::stringValue:
        return "text";
    case Json::booleanValue:
        return "a truth value";
    case Json::arrayValue:
        return "an array";
    case Json::objectValue:
        return "an object";
    }
    return "unknown";
}

[[noreturn]] void complain(const Json::Value& found, const char* wanted) {
    throw TolvanLog::Exception(std::string("JSON value is ") + typeName(found) + ", not " + wanted);
}

void requireUtf8(std::string_view text) {
    static_cast<void>(ktxt::widen(text));
}

/// The library reads fractions with the process's global locale.
bool localeReadsFractions() {
    const auto& marks = std::use_facet<std::numpunct<char>>(std::locale());
    return marks.decimal_point() == '.' && marks.grouping().empty();
}

/// Appends a number of a document without its decimal mark: 12.5e3 as 125e2.
void appendWithoutMark(std::string& out, std::string_view number) {
    const auto mark = number.find('.');
    const auto exponent = number.find_first_of("eE");
    long power = 0;
    const std::string_view written =
        exponent == number.npos ? "0" : number.substr(exponent + 1 + (number[exponent + 1] == '+'));
    const auto [end, error] =
        std::from_chars(written.data(), written.data() + written.size(), power);
    const std::string_view whole = number.substr(0, mark);
    const std::string_view fraction = number.substr(mark + 1, exponent - mark - 1);
    if (error != std::errc() || end != written.data() + written.size() || fraction.empty() ||
        fraction.find_first_not_of("0123456789") != fraction.npos) {
        out += number; // for the parser to refuse
        return;
    }
    const bool negative = whole.starts_with('-');
    std::string digits = std::string(whole.substr(negative ? 1 : 0)) + std::string(fraction);
    digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size() - 1));
    out += (negative ? "-" : "") + digits + 'e' +
           std::to_string(power - static_cast<long>(fraction.size()));
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool startsNumber(std::string_view text) {
    return text.front() == '-' || isDigit(text.front());
}

/// The length of the first token: a comment, a string, a number or a single character.
std::size_t tokenLength(std::string_view text) {
    std::size_t length = 1;
    if (text.starts_with("//") || text.starts_with("/*")) {
        const auto end = text.find(text[1] == '/' ? "\n" : "*/", 2);
        length = end == text.npos ? text.size() : end + 1;
    } else if (text.front() == '"') {
        while (length < text.size() && text[length] != '"')
            length += text[length] == '\\' ? 2 : 1;
        length = std::min(length + 1, text.size());
    } else if (startsNumber(text)) {
        length = std::min(text.find_first_not_of("0123456789.eE+-", 1), text.size());
    }
    return length;
}

/// The same document without decimal marks, which a locale could misread.
std::string withoutDecimalMarks(std::string_view text) {
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    while (!text.empty()) {
        const std::string_view token = text.substr(0, tokenLength(text));
        if (startsNumber(token) && token.find('.') != token.npos)
            appendWithoutMark(out, token);
        else
            out += token;
        text.remove_prefix(token.size());
    }
    return out;
}

/// Some versions of the library accept numbers that are not JSON: "-", "1.", "1.e5".
void requireDigits(std::string_view text) {
    while (!text.empty()) {
        const std::string_view token = text.substr(0, tokenLength(text));
        const auto mark = startsNumber(token) ? token.find('.') : token.npos;
        if (token == "-" ||
            (mark != token.npos && (mark + 1 == token.size() || !isDigit(token[mark + 1]))))
            throw TolvanLog::Exception("\"" + std::string(token) + "\" is not a number");
        text.remove_prefix(token.size());
    }
}

/// Some versions of the library read numbers too large for a double as infinity.
bool isFinite(const Json::Value& value) {
    return value.type() == Json::realValue ? std::isfinite(value.asDouble())
                                           : std::all_of(value.begin(), value.end(), isFinite);
}

Json::CharReaderBuilder builderOf(bool keepComments) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["strictRoot"] = false;
    builder["allowComments"] = true;
    builder["collectComments"] = keepComments;
    // The limit counts nested values, including the innermost scalar.
    builder["stackLimit"] = Reader::maxDepth + 1;
    return builder;
}

std::unique_ptr<Json::CharReader> makeParser(bool keepComments) {
    static const Json::CharReaderBuilder with = builderOf(true), without = builderOf(false);
    return std::unique_ptr<Json::CharReader>((keepComments ? with : without).newCharReader());
}

} // namespace

bool Value::isNull() const {
    return json(item_).isNull();
}

bool Value::isBool() const {
    return json(item_).isBool();
}

bool Value::isNumber() const {
    return json(item_).isNumeric();
}

bool Value::isString() const {
    return json(item_).isString();
}

bool Value::isArray() const {
    return json(item_).type() == Json::arrayValue;
}

bool Value::isObject() const {
    return json(item_).type() == Json::objectValue;
}

bool Value::isMember(std::string_view key) const {
    return isObject() && json(item_).find(key.data(), key.data() + key.size());
}

Value Value::operator[](std::string_view key) const {
    Value member;
    if (isObject()) {
        if (const Json::Value* found = json(item_).find(key.data(), key.data() + key.size()))
            member.item_ = {item_, found};
    }
    return member;
}

Value Value::operator[](std::size_t index) const {
    Value element;
    if (isArray() && index < size())
        element.item_ = {item_, &json(item_)[static_cast<Json::ArrayIndex>(index)]};
    return element;
}

std::size_t Value::size() const {
    return json(item_).size();
}

std::vector<Value> Value::elements() const {
    std::vector<Value> all;
    if (!isArray())
        return all;
    all.reserve(size());
    for (const Json::Value& item : json(item_)) {
        all.emplace_back();
        all.back().item_ = {item_, &item};
    }
    return all;
}

std::vector<std::string> Value::memberNames() const {
    return isObject() ? json(item_).getMemberNames() : std::vector<std::string>();
}

std::string Value::asString() const {
    if (!isString())
        complain(json(item_), "text");
    std::string text = json(item_).asString();
    requireUtf8(text);
    return text;
}

bool Value::asBool() const {
    if (!isBool())
        complain(json(item_), "a truth value");
    return json(item_).asBool();
}

double Value::asDouble() const {
    if (!isNumber())
        complain(json(item_), "a number");
    return json(item_).asDouble();
}

std::int64_t Value::asInt64() const {
    if (!json(item_).isInt64())
        complain(json(item_), "a whole number of 64 bits");
    return json(item_).asInt64();
}

std::string Value::comment() const {
    return json(item_).getComment(Json::commentBefore);
}

bool Reader::parse(std::string_view text, Value& value, bool keepComments) {
    value = {};
    errors_.clear();
    try {
        if (itemsOf(text) > maximumItems)
            throw TolvanLog::Exception("holds more than " +
                                       std::to_string(maximumItems) + " values");
        requireUtf8(text);
        requireDigits(text);
        std::string plain;
        if (!localeReadsFractions())
            text = plain = withoutDecimalMarks(text);
        const auto document = std::make_shared<Json::Value>();
        const bool accepted =
            makeParser(keepComments)
                ->parse(text.data(), text.data() + text.size(), document.get(), &errors_);
        if (accepted && !isFinite(*document))
            throw TolvanLog::Exception("holds a number greater than any that can be computed with");
        if (accepted)
            value.item_ = document;
        return accepted;
    } catch (const Json::RuntimeError&) { // what the parser throws on its depth limit alone
        errors_ = "nested deeper than " + std::to_string(maxDepth) + " levels";
    } catch (const std::exception& error) {
        errors_ = error.what();
    }
    return false;
}

bool Reader::parse(std::u16string_view text, Value& value, bool keepComments) {
    try {
        return parse(ktxt::narrow(text), value, keepComments);
    } catch (const TolvanLog::Exception& error) {
        value = {};
        errors_ = error.what();
        return false;
    }
}

/// Each word of each record goes through here: the library's writer would be set up for every one.
std::string quoted(std::string_view text) {
    requireUtf8(text);
    constexpr std::string_view escaped = "\"\\\b\f\n\r\t", letters = "\"\\bfnrt";
    constexpr char digits[] = "0123456789abcdef";
    std::string written = "\"";
    for (const char c : text) {
        if (const auto at = escaped.find(c); at != escaped.npos)
            (written += '\\') += letters[at];
        else if (const auto code = static_cast<unsigned char>(c); code < 0x20)
            ((written += "\\u00") += digits[code / 16]) += digits[code % 16];
        else
            written += c;
    }
    return written + '"';
}

} // namespace tolvan::jsonlib
