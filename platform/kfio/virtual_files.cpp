// SPDX-License-Identifier: MIT
#include "kfio/virtual_files.h"

#include "kfio/gdal_errors.h"
#include "kfio/zip_directory.h"

#include <boost/crc.hpp>
#include <cpl_string.h>
#include <cpl_vsi.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>

namespace kfio {

std::optional<VirtualStat> virtualStat(const std::string& path) {
    const ErrorCapture quiet;
    VSIStatBufL state;
    if (VSIStatL(path.c_str(), &state) != 0)
        return std::nullopt;
    const bool isDirectory = VSI_ISDIR(state.st_mode);
    return VirtualStat{isDirectory, isDirectory ? 0 : static_cast<std::uint64_t>(state.st_size),
                       state.st_mtime};
}

namespace {

struct FileClose {
    void operator()(VSILFILE* file) const { VSIFCloseL(file); }
};

/// Passes a file to `take`, piece by piece, until that returns false.
/// @return the file's fault; empty when there is none.
template <class Take>
std::string readThrough(const std::string& path, const Take& take) {
    const ErrorCapture errors;
    const std::unique_ptr<VSILFILE, FileClose> file(VSIFOpenExL(path.c_str(), "rb", TRUE));
    const auto state = virtualStat(path);
    if (!file)
        return errors.reason(path, "no such file");
    if (state && state->isDirectory)
        return "is a folder";
    boost::crc_32_type crc;
    std::uint64_t size = 0;
    std::array<char, 65536> chunk;
    while (const std::size_t n = VSIFReadL(chunk.data(), 1, chunk.size(), file.get())) {
        crc.process_bytes(chunk.data(), n);
        size += n;
        if (!take(std::string_view(chunk.data(), n)))
            return {};
    }
    if (errors.failed() || (state && size < state->size))
        return errors.reason(path, "cannot be read to its end");
    const auto stated = zipMember(path);
    if (stated && (stated->size != size || stated->crc != crc.checksum()))
        return "is damaged: its bytes are not those that were put into the archive";
    return {};
}

} // namespace

std::optional<std::string> readVirtualFile(const std::string& path, std::size_t maxBytes,
                                           std::string& reason) {
    std::string content;
    bool tooLong = false;
    std::string fault = readThrough(path, [&](std::string_view piece) {
        tooLong = piece.size() > maxBytes - content.size();
        if (!tooLong)
            content += piece;
        return !tooLong;
    });
    if (tooLong)
        fault = "is longer than " + std::to_string(maxBytes) + " bytes";
    if (fault.empty())
        return content;
    reason = fault;
    return std::nullopt;
}

std::string faultInArchive(const std::string& path) {
    if (!path.starts_with("/vsizip/"))
        return {};
    return readThrough(path, [](std::string_view) { return true; });
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

} // namespace kfio
