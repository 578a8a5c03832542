#pragma once

#include "lmx/error.h"

#include <string>

namespace lmx {

/// The largest document that is read, in bytes.
inline constexpr std::size_t maxDocumentBytes = std::size_t{256} << 20;

/// Reads a whole file. The one place where this folder meets the file system.
/// @param path      UTF-8.
/// @param document  receives the bytes; empty on failure.
/// @return ok, notOpened or tooLarge. @throws std::bad_alloc.
elmx_error load_document(const std::string& path, std::string& document);

} // namespace lmx
