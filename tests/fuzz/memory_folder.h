// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

/// A folder in memory, gone afterwards. One thread.
class MemoryFolder {
public:
    MemoryFolder();
    ~MemoryFolder();
    MemoryFolder(const MemoryFolder&) = delete;
    MemoryFolder& operator=(const MemoryFolder&) = delete;

    /// Writes a file, whose name may lead into folders below; names that lead out are passed over.
    /// @return its full name, a virtual path.
    std::string write(const std::string& name, std::string_view content) const;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

/// @return all that lies in memory, whoever put it there.
std::vector<std::string> filesInMemory();

} // namespace fuzz
