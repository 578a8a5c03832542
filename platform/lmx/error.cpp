// SPDX-License-Identifier: MIT
#include "lmx/error.h"

namespace lmx {

const char* get_error_description(elmx_error error) {
    switch (error) {
    case elmx_error::ok:
        return "no error";
    case elmx_error::notOpened:
        return "the file cannot be read";
    case elmx_error::tooLarge:
        return "the document is too large";
    case elmx_error::attributeRepeated:
        return "an attribute is given more than once";
    case elmx_error::notWellFormed:
        return "the document is not well-formed XML";
    case elmx_error::doctypeRefused:
        return "the document has a document type declaration, which is not accepted";
    case elmx_error::tooDeep:
        return "elements are nested too deeply";
    case elmx_error::outOfMemory:
        return "there is not enough memory";
    case elmx_error::wrongRoot:
        return "the root element is not the expected one";
    case elmx_error::textNotWritable:
        return "a text holds characters that XML cannot carry";
    case elmx_error::withoutNamespace:
        return "the elements have no namespace and were matched by name alone";
    case elmx_error::elementUnexpected:
        return "an element is not known here";
    case elmx_error::elementMissing:
        return "a mandatory element is missing";
    case elmx_error::patternMismatch:
        return "a value does not match its pattern";
    case elmx_error::valueNotInSet:
        return "a value is not one of those allowed";
    case elmx_error::valueOutOfRange:
        return "a number is out of its range";
    case elmx_error::attributeMissing:
        return "a mandatory attribute is missing";
    case elmx_error::attributeUnknown:
        return "an attribute is not known";
    case elmx_error::lengthOutOfBounds:
        return "a text or list is too short or too long";
    case elmx_error::attributeUnreadable:
        return "the value of an attribute cannot be read";
    case elmx_error::tooManyElements:
        return "an element occurs too often";
    case elmx_error::textUnexpected:
        return "text is not expected here";
    case elmx_error::elementMisplaced:
        return "an element is misplaced: it is known, but not expected here, or not again";
    case elmx_error::valueInvalid:
        return "a value is not valid for its type";
    case elmx_error::valueNotFixed:
        return "an attribute differs from its fixed value";
    }
    return "unknown error";
}

std::string s_error::message() const {
    std::string text;
    if (!file.empty())
        text += file + ":";
    if (line > 0)
        text += (file.empty() ? "line " : "") + std::to_string(line) + ":";
    if (!text.empty())
        text += " ";
    if (!element.empty())
        text += element + ": ";
    text += get_error_description(code);
    if (!detail.empty())
        text += " (" + detail + ")";
    return text;
}

} // namespace lmx
