// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <cstddef>
#include <functional>
#include <string>

namespace lmx {

/// What can go wrong while a document is read, written or built; 0 is success.
enum class elmx_error : int {
    ok = 0,
    notOpened = 1,         ///< the file is missing, unreadable, too large or no regular file
    tooLarge = 2,          ///< a document in memory is larger than the reader takes
    attributeRepeated = 3, ///< an attribute stands twice in one start tag
    notWellFormed = 4,     ///< the text is not XML
    doctypeRefused = 5,    ///< document types (and with them entities) are not read
    tooDeep = 6,           ///< elements are nested deeper than the reader takes
    outOfMemory = 7,
    wrongRoot = 9,        ///< the root element is not the schema's
    textNotWritable = 10, ///< a text holds what XML cannot: control characters, bad UTF-8
    withoutNamespace =
        19, ///< read completely and valid by local names, but no element has a namespace
    elementUnexpected = 20, ///< an element whose name the class around it does not know
    elementMissing = 21,
    patternMismatch = 22,
    valueNotInSet = 23,
    valueOutOfRange = 24,
    attributeMissing = 25,
    attributeUnknown = 26,
    lengthOutOfBounds = 27,   ///< too few or too many characters in a text or items in a list
    attributeUnreadable = 28, ///< an attribute's text is no value of its type
    tooManyElements = 29,     ///< while writing: more occurrences than the schema has
    textUnexpected = 30,      ///< characters between the children of an element
    elementMisplaced = 31,    ///< an element that the class knows, at a wrong place or too often
    valueInvalid = 35,        ///< an element's text is no value of its type
    valueNotFixed = 43,       ///< an attribute with one fixed value has another
};

/// @return one English sentence without a full stop, for every int; static storage.
RF_PLATFORM_API const char* get_error_description(elmx_error error);

/// One error and its position.
struct s_error {
    elmx_error code = elmx_error::ok;
    /// The element concerned, with its prefix. Element and detail are each one line of valid UTF-8;
    /// long texts are cut.
    std::string element;
    std::string detail;   ///< what was found, may be empty
    std::string file;     ///< empty when the document came from memory
    std::size_t line = 0; ///< from 1; 0 while writing

    /// "file:line: element: description (detail)"
    RF_PLATFORM_API std::string message() const;
};

/// Receives every error when it happens. Returns ok to go on, or the code to stop with; must not
/// throw. Errors that end the document (not well formed, limits, wrong root) are reported too but
/// cannot be tolerated.
using error_handler = std::function<elmx_error(const s_error&)>;

} // namespace lmx
