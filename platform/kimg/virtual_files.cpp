#include "kimg/virtual_files.h"

#include "kimg/gdal_session.h"

#include <cpl_string.h>
#include <cpl_vsi.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>

namespace kimg {

std::optional<VirtualStat> virtualStat(const std::string& path) {
    const ErrorCapture quiet;
    VSIStatBufL state;
    if (VSIStatL(path.c_str(), &state) != 0)
        return std::nullopt;
    const bool isDirectory = VSI_ISDIR(state.st_mode);
    return VirtualStat{isDirectory, isDirectory ? 0 : static_cast<std::uint64_t>(state.st_size),
                       state.st_mtime};
}

std::optional<std::string> readVirtualFile(const std::string& path, std::size_t maxBytes,
                                           std::string& reason) {
    const ErrorCapture errors;
    const auto close = [](VSILFILE* file) { VSIFCloseL(file); };
    const std::unique_ptr<VSILFILE, decltype(close)> file(VSIFOpenExL(path.c_str(), "rb", TRUE),
                                                          close);
    const auto state = virtualStat(path);
    if (!file || (state && state->isDirectory)) {
        reason = file ? path + ": is a folder" : errors.describe(path, "no such file");
        return std::nullopt;
    }
    std::string content;
    std::array<char, 65536> chunk;
    while (const std::size_t n = VSIFReadL(chunk.data(), 1, chunk.size(), file.get())) {
        if (n > maxBytes - content.size()) {
            reason = path + ": longer than " + std::to_string(maxBytes) + " bytes";
            return std::nullopt;
        }
        content.append(chunk.data(), n);
    }
    if (state && content.size() < state->size) {
        reason = errors.describe(path, "cannot be read to its end");
        return std::nullopt;
    }
    return content;
}

std::vector<std::string> listVirtualFolder(const std::string& path) {
    const ErrorCapture quiet;
    const CPLStringList entries(VSIReadDir(path.c_str()));
    std::vector<std::string> names;
    for (int i = 0; i < entries.size(); ++i)
        if (const std::string_view name = entries[i]; name != "." && name != "..")
            names.emplace_back(name);
    std::sort(names.begin(), names.end());
    return names;
}

MemoryFolder::MemoryFolder() {
    static std::atomic<std::uint64_t> made = 0;
    path_ = "/vsimem/rf_sar_" + std::to_string(++made);
    VSIMkdir(path_.c_str(), 0700);
}

MemoryFolder::~MemoryFolder() {
    VSIRmdirRecursive(path_.c_str());
}

bool MemoryFolder::write(const std::string& name, std::string_view content) const {
    const ErrorCapture quiet;
    VSILFILE* const file = VSIFOpenL((path_ + '/' + name).c_str(), "wb");
    if (!file)
        return false;
    const bool written = VSIFWriteL(content.data(), 1, content.size(), file) == content.size();
    return VSIFCloseL(file) == 0 && written;
}

} // namespace kimg
