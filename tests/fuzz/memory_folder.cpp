// SPDX-License-Identifier: MIT
#include "fuzz/memory_folder.h"

#include <cpl_string.h>
#include <cpl_vsi.h>

namespace fuzz {

// Each has a name of its own: open image files are remembered by name.
MemoryFolder::MemoryFolder() {
    static unsigned long made = 0;
    path_ = "/vsimem/fuzz" + std::to_string(++made);
    VSIMkdir(path_.c_str(), 0755);
}

MemoryFolder::~MemoryFolder() {
    VSIRmdirRecursive(path_.c_str());
}

std::string MemoryFolder::write(const std::string& name, std::string_view content) const {
    const std::string file = path_ + "/" + name;
    const bool usual = !name.empty() && name.size() < 200 && name.find("..") == name.npos &&
                       name.find('\0') == name.npos;
    VSILFILE* const out = usual ? VSIFOpenL(file.c_str(), "wb") : nullptr;
    if (out) {
        VSIFWriteL(content.data(), 1, content.size(), out);
        VSIFCloseL(out);
    }
    return file;
}

std::vector<std::string> filesInMemory() {
    const CPLStringList names(VSIReadDirRecursive("/vsimem/"));
    return {names.List(), names.List() + names.Count()};
}

} // namespace fuzz
