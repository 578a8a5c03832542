// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Reads files, local and virtual: also inside a zip or on an object store. Names may contain
/// doubled separators and "..". Nothing here writes. Any thread may call.

/// @return whether a file or folder of that name exists; false for an empty name.
/// @throws TolvanLog::Exception when the name is not valid UTF-16.
RF_PLATFORM_API bool kfio_FileExists(std::u16string_view name);

/// The state of a file, queried once and kept until freed.
struct KFIO_STAT_CACHE;

/// The items of a stat cache; the numbers are the host's.
enum KfioStatItem : int {
    kfioExists = 5,            ///< 1 when a file or folder exists
    kfioIsRegularFile = 6,     ///< 1 for a file that holds bytes, 0 for a folder or device
    kfioModificationTime = 16, ///< seconds since 1970-01-01, 0 when not known
    kfioIsReadable = 23,       ///< 1 when this process may read it
};

/// @return a cache owned by the caller; null with a report when the name is empty.
RF_PLATFORM_API KFIO_STAT_CACHE* kfio_StatCacheCreate(std::u16string_view name,
                                                      KERR_REPORT** slot);
/// @return the item's value; 0 for a null cache; 0 with a report for an unknown item.
RF_PLATFORM_API std::int64_t kfio_StatCacheGet(const KFIO_STAT_CACHE* cache, int item,
                                               KERR_REPORT** slot);
/// Null is allowed.
RF_PLATFORM_API void kfio_StatCacheFree(KFIO_STAT_CACHE* cache);

namespace kfio {

/// Metadata documents larger than this are refused before they are read.
constexpr std::uint64_t maximumDocumentBytes = 256ULL << 20;

/// The system's data about a file; two states of an unchanged file are equal.
struct FileState {
    bool exists = false;
    bool isRegularFile = false;
    bool isReadable = false;
    std::uint64_t size = 0;
    std::int64_t modifiedNs = 0; ///< since 1970-01-01; whole seconds for virtual files
    bool operator==(const FileState&) const = default;
};
/// @param name  UTF-8, local or virtual. @return the current state; all false and 0 when nothing
///        exists. Never throws because of the file.
RF_PLATFORM_API FileState fileState(std::string_view name);

/// @return whether links lead a file of a product out of the folder above the product file's
///         folder. False for virtual names and for missing files. Also false when the product file
///         is a link too and both lead into one store, that is, into a folder that does not contain
///         the product's own.
RF_PLATFORM_API bool linkLeavesProduct(const std::string& productFile, const std::string& file);

/// Reads a whole document.
/// @return the bytes; nullopt with a reason (without the name) when the file is missing, not a
///         regular file, unreadable, or larger than maximumDocumentBytes.
RF_PLATFORM_API std::optional<std::string> readDocument(std::string_view name,
                                                        std::string& reason);

} // namespace kfio
