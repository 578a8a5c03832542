// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <optional>
#include <string>

namespace kimg {

/// @return what the names of all part files of a file of that name begin with; a process's number
///         follows. Of long names the beginning and a sum over all of it, for a folder takes names
///         of 255 bytes at most.
RF_PLATFORM_API std::string partNameStart(const std::string& name);

/// A file under a temporary name beside its later place, partNameStart() with "<process>-<count>";
/// removed unless it is put there. What processes that were killed have left beside that place goes
/// too.
class RF_PLATFORM_API NewFile {
public:
    explicit NewFile(std::string path);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    const std::string& path() const { return path_; }
    const std::string& temporaryPath() const { return temporaryPath_; }
    /// @return a message about the temporary file as one about the file.
    std::string told(std::string message) const;
    /// Gives the file its name; an existing one is replaced. @return whether that went well.
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
