// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/georeferencing.h"
#include "rf_platform_api.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace kimg {

enum class PictureFormat { png, jpeg, tiff };

/// A picture of 8 bits a sample.
struct Picture {
    std::uint32_t width = 0, height = 0;
    std::uint32_t bands = 1;           ///< 1 grey, 2 grey and opacity, 3 RGB, 4 RGB and opacity
    std::vector<std::uint8_t> samples; ///< pixel by pixel, line after line
    Georeferencing place;              ///< written into TIFFs only
    std::vector<std::pair<std::string, std::string>> items; ///< metadata, written into TIFFs only
};

/// Writes a picture. The file appears complete or not at all: it is written under another name in
/// the same folder and renamed. An existing file is replaced. Nothing else is left in the folder.
/// @param reason   says what failed, naming the file; untouched on success.
/// Any thread, no exceptions, no printing.
RF_PLATFORM_API bool writePicture(const std::string& path, PictureFormat format,
                                  const Picture& picture, std::string& reason);

} // namespace kimg
