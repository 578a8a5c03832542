#pragma once

#include <expat.h>

namespace kfio {

/// Teaches the XML parser an encoding that it lacks, if that has one byte a character
/// ("windows-1252", "ISO-8859-15"); to be set with XML_SetUnknownEncodingHandler.
/// @return 1, or 0 for an encoding that is unknown or has longer characters.
int describeEncoding(void* unused, const char* name, XML_Encoding* encoding);

} // namespace kfio
