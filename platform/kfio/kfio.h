// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Files, local and virtual alike: what lies inside a zip or on an object store is read where it
/// is. Names may hold doubled separators and "..". Nothing here writes. Any thread.

/// @return whether something of that name is there, a folder too; false for an empty name.
/// @throws TolvanLog::Exception when the name is not valid UTF-16.
RF_PLATFORM_API bool kfio_FileExists(std::u16string_view name);

/// What is known of a file, asked once and kept until freed.
struct KFIO_STAT_CACHE;

/// The items of a stat cache; the numbers are the host's.
enum KfioStatItem : int {
    kfioExists = 5,            ///< 1 when something of that name is there
    kfioIsRegularFile = 6,     ///< 1 for a file that holds bytes, 0 for a folder or device
    kfioModificationTime = 16, ///< seconds since 1970-01-01, 0 when not known
    kfioIsReadable = 23,       ///< 1 when this process may read it
};

/// @return a cache owned by the caller; null with a report when the name is empty.
RF_PLATFORM_API KFIO_STAT_CACHE* kfio_StatCacheCreate(std::u16string_view name,
                                                      KERR_REPORT** slot);
/// @return the item's value; 0 with a report for an item that is not kept.
RF_PLATFORM_API std::int64_t kfio_StatCacheGet(const KFIO_STAT_CACHE* cache, int item,
                                               KERR_REPORT** slot);
/// Null is allowed.
RF_PLATFORM_API void kfio_StatCacheFree(KFIO_STAT_CACHE* cache);

namespace kfio {

/// Metadata documents larger than this are refused before they are read.
constexpr std::uint64_t maximumDocumentBytes = 256ULL << 20;

/// What the system says of a file; two states of an unchanged file are equal.
struct FileState {
    bool exists = false;
    bool isRegularFile = false;
    bool isReadable = false;
    std::uint64_t size = 0;
    std::int64_t modifiedNs = 0; ///< since 1970-01-01; whole seconds for virtual files
    bool operator==(const FileState&) const = default;
};
/// @param name  UTF-8, local or virtual. @return the state now; all false and 0 when nothing is
///         there. Never throws for what a file is.
RF_PLATFORM_API FileState fileState(std::string_view name);

/// @return whether links lead a file that a product has out of the folder above the product file's.
///         False for virtual names and for files that are not there, and when the product file is a
///         link as well and both lead into one store: into a folder that does not hold the
///         product's own.
RF_PLATFORM_API bool linkLeavesProduct(const std::string& productFile, const std::string& file);

/// Reads a whole document.
/// @return the bytes; nullopt with a reason (without the name) when the file is missing, not a
///         regular file, unreadable, or larger than maximumDocumentBytes.
RF_PLATFORM_API std::optional<std::string> readDocument(std::string_view name,
                                                        std::string& reason);

} // namespace kfio
