// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/picture_writer.h"

#include <string>

/// @return what a file is to be, told by its extension: .png, .jpg, .jpeg, .tif or .tiff.
/// @throws loader::Error naming the file when it has another.
kimg::PictureFormat pictureFormatOf(const std::string& file);
