// SPDX-License-Identifier: MIT
#pragma once

#include <expat.h>

namespace kfio {

/// Handler of unknown encodings for the parser. It supplies an encoding from the system's
/// conversion tables, if it includes ASCII and has at most four bytes per character. A byte
/// sequence that is no character, or one beyond U+FFFF, is an error in the document. Private to the
/// parsers of the platform.
int teachEncoding(void* unused, const char* name, XML_Encoding* taught) noexcept;

} // namespace kfio
