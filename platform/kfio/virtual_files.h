// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Files behind virtual paths: in archives, on object stores, in memory. Names are UTF-8. Any
/// thread, no printing.
namespace kfio {

struct VirtualStat {
    bool isDirectory;
    std::uint64_t size; ///< bytes; 0 for a directory
    std::int64_t mtime; ///< s since 1970; 0 when not known
};

/// @return nullopt when nothing is there.
RF_PLATFORM_API std::optional<VirtualStat> virtualStat(const std::string& path);

/// @return the whole file; nullopt with the reason, without the name, when it cannot be read, holds
///         more than maxBytes, or is not what the directory of its zip archive states.
RF_PLATFORM_API std::optional<std::string>
readVirtualFile(const std::string& path, std::size_t maxBytes, std::string& reason);

/// Reads a member of a zip archive to its end, whatever its size. Does not read other files.
/// @return the fault, as a sentence without subject: the member does not unpack, or its bytes are
///         not those that the archive's directory states. Empty when there is none.
RF_PLATFORM_API std::string faultInArchive(const std::string& path);

/// @return the names (not paths) in a folder, sorted; empty when there is no such folder.
RF_PLATFORM_API std::vector<std::string> listVirtualFolder(const std::string& path);

/// A folder in memory with a name of its own; its files are gone when the object is.
class RF_PLATFORM_API MemoryFolder {
public:
    MemoryFolder();
    ~MemoryFolder();
    MemoryFolder(const MemoryFolder&) = delete;
    MemoryFolder& operator=(const MemoryFolder&) = delete;

    const std::string& path() const { return path_; }
    /// @param name  relative to the folder; may name folders in it.
    /// @return false when memory is short.
    bool write(const std::string& name, std::string_view content) const;

private:
    std::string path_;
};

} // namespace kfio
