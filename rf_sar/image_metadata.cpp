// SPDX-License-Identifier: MIT
#include "image_metadata.h"

std::vector<std::u16string> imageMetadata::getReferencedFiles(std::uint32_t*, KERR_REPORT**) {
    return referencedFiles;
}

std::uint32_t imageMetadata::getNonStandardDataNamesGet(std::uint32_t*, char16_t***) {
    return static_cast<std::uint32_t>(-1);
}
