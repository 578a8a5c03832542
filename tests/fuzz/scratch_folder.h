// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

namespace fuzz {

/// A folder for what verbs write, with an elevation model beside it; both go with the object.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::string& path() const { return path_; }
    /// Hills around the place of the seeds, above the ellipsoid.
    const std::string& elevationFile() const { return elevationFile_; }
    /// Removes what is there.
    /// @return how many files that were.
    std::size_t clear() const;

private:
    std::string path_, elevationFile_;
};

} // namespace fuzz
