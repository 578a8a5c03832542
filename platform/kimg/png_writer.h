#pragma once

#include "rf_platform_api.h"

#include <cstdint>
#include <string>

namespace kimg {

/// Writes an 8-bit PNG. The file appears whole or not at all: it is written under another name in
/// the same folder and renamed; an existing file is replaced. Nothing else is left in the folder.
/// @param samples  width * height pixels of `bands` samples each, line after line.
/// @param bands    1 grey, 2 grey and opacity, 3 RGB, 4 RGB and opacity.
/// @param reason   says what failed, naming the file; untouched on success.
/// Any thread, no exceptions, no printing.
RF_PLATFORM_API bool writePng(const std::string& path, const std::uint8_t* samples,
                              std::uint32_t width, std::uint32_t height, std::uint32_t bands,
                              std::string& reason);

} // namespace kimg
