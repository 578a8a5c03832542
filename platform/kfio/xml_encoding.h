// SPDX-License-Identifier: MIT
#pragma once

#include <expat.h>

namespace kfio {

/// Teaches the parser an encoding that it does not know itself, from the system's conversion
/// tables: those that keep ASCII in place, of up to four bytes a character. A sequence of bytes
/// that stands for no character, or for one beyond U+FFFF, is an error in the document. To be set
/// as the parser's handler of unknown encodings. Private to the parsers of the platform.
int teachEncoding(void* unused, const char* name, XML_Encoding* taught) noexcept;

} // namespace kfio
