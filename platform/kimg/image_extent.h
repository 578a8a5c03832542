// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/kimg.h"

#include <cstdint>
#include <optional>

namespace kimg {

/// @return how many bytes the blocks that an image file lists reach beyond its end, because the
///         file was cut or not fully written. 0 when all blocks are inside, and for formats without
///         such a list; nullopt with a report when the file cannot be read. Decodes nothing.
RF_PLATFORM_API std::optional<std::uint64_t> missingBytes(const KIMG_LAYER* layer,
                                                          KERR_REPORT** slot);

} // namespace kimg
