// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/picture_writer.h"

#include <string>

/// @return the format by the file's extension: .png, .jpg, .jpeg, .tif or .tiff.
/// @throws loader::Error naming the file when it has another extension.
kimg::PictureFormat pictureFormatOf(const std::string& file);
