// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <optional>
#include <string>

namespace kimg {

/// @return the beginning of the names of all part files for a file of that name; a process number
///         follows. Long names are shortened and get a checksum, because file names have at most
///         255 bytes.
RF_PLATFORM_API std::string partNameStart(const std::string& name);

/// A file under a temporary name in its final folder: partNameStart() with "<process>-<count>". The
/// destructor removes it unless it was put in place. Also removes the leftovers of killed processes
/// for the same file.
class RF_PLATFORM_API NewFile {
public:
    explicit NewFile(std::string path);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    const std::string& path() const { return path_; }
    const std::string& temporaryPath() const { return temporaryPath_; }
    /// @return a message with the temporary file's name replaced by the file's name.
    std::string told(std::string message) const;
    /// Renames the file to its final name; replaces an existing one. @return whether that
    /// succeeded.
    bool putInPlace();

private:
    std::string path_;
    std::string temporaryPath_;
    bool inPlace_ = false;
};

/// Keeps GDAL from writing metadata files beside what it writes, on this thread.
class NoSideCars {
public:
    NoSideCars();
    ~NoSideCars();
    NoSideCars(const NoSideCars&) = delete;
    NoSideCars& operator=(const NoSideCars&) = delete;

private:
    std::optional<std::string> before_;
};

} // namespace kimg
