// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// JSON documents, read only. No other module uses the JSON library. Texts are UTF-8. "." is the
/// decimal mark whatever the locale.

namespace tolvan::jsonlib {

/// One value of a parsed document. Copies are cheap: they share the document and keep it alive.
/// Nothing can change it, so any number of threads may read it. A look-up that finds nothing
/// returns a null value. A conversion to another type throws TolvanLog::Exception, whose text names
/// the type found and the type wanted.
class RF_PLATFORM_API Value {
public:
    /// The null value.
    Value() = default;

    bool isNull() const;
    bool isBool() const;
    bool isNumber() const;
    bool isString() const;
    bool isArray() const;
    bool isObject() const;

    /// @return whether this is an object that has the member (its value may be null).
    bool isMember(std::string_view key) const;
    /// @return the member; null when there is none or this is no object.
    Value operator[](std::string_view key) const;
    /// @return the element, from 0; null when there is none or this is no array.
    Value operator[](std::size_t index) const;
    /// @return how many elements or members an array or object has, else 0.
    std::size_t size() const;
    /// @return an array's elements in order; none when this is no array.
    std::vector<Value> elements() const;
    /// @return an object's member names in the order of their bytes; none when this is no object.
    std::vector<std::string> memberNames() const;

    /// Also throws when an escape in the text is half a surrogate pair.
    std::string asString() const;
    bool asBool() const;
    /// The nearest double to the number's decimal text.
    double asDouble() const;
    /// Throws for a fraction or a number that 64 bits do not hold.
    std::int64_t asInt64() const;

    /// @return the comment before the value, if the parse kept comments.
    std::string comment() const;

private:
    friend class Reader;
    std::shared_ptr<const void> item_; // the library's value inside a shared document; null is null
};

/// Reads a document. One thread at a time; the values outlive it.
class RF_PLATFORM_API Reader {
public:
    /// The greatest allowed nesting of arrays and objects.
    static constexpr int maxDepth = 256;

    /// Accepts strict JSON of any root type, with or without byte order mark, plus comments.
    /// Refuses a member named twice, NaN and infinity literals, numbers beyond a double, text after
    /// the document, text that is not valid UTF, nesting beyond maxDepth and
    /// more than a million values.
    /// @param value  becomes the document, or null when the text is refused.
    /// @return whether the text was accepted; else formattedErrorMessages tells why. Never throws
    ///         for bad content.
    bool parse(std::string_view text, Value& value, bool keepComments);
    bool parse(std::u16string_view text, Value& value, bool keepComments);

    /// @return what the last parse complained about, with line and column; empty when nothing.
    const std::string& formattedErrorMessages() const { return errors_; }

private:
    std::string errors_;
};

/// @return the text as a JSON string in its quotes.
/// @throws TolvanLog::Exception when the text is not valid UTF-8.
RF_PLATFORM_API std::string quoted(std::string_view text);

} // namespace tolvan::jsonlib
