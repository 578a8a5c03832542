// SPDX-License-Identifier: MIT
#pragma once

namespace lmx {

/// One namespace of a document. In a map for reading, an empty uri means that elements without a
/// namespace are read too.
struct s_ns_map {
    const char* prefix; ///< used when writing
    const char* uri;
};

} // namespace lmx
