// SPDX-License-Identifier: MIT
#include "pictures/picture_file.h"

#include "loader/plugin.h"

#include <strings.h>

kimg::PictureFormat pictureFormatOf(const std::string& file) {
    using enum kimg::PictureFormat;
    const auto dot = file.rfind('.');
    const std::string extension = dot == std::string::npos ? "" : file.substr(dot);
    for (const auto& [known, format] :
         {std::pair{".png", png}, {".jpg", jpeg}, {".jpeg", jpeg}, {".tif", tiff}, {".tiff", tiff}})
        if (strcasecmp(extension.c_str(), known) == 0)
            return format;
    throw loader::Error(file + ": pictures are written as .png, .jpg or .tif; name one of these");
}
