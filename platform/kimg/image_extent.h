// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/kimg.h"

#include <cstdint>
#include <optional>

namespace kimg {

/// @return by how many bytes the blocks that an image file lists reach beyond its end: it was cut,
///         or not written to its end. 0 when it holds them all, and for formats without such a
///         list; nullopt with a report when it cannot be read. Nothing is decoded.
RF_PLATFORM_API std::optional<std::uint64_t> missingBytes(const KIMG_LAYER* layer,
                                                          KERR_REPORT** slot);

} // namespace kimg
