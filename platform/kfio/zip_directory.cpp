// SPDX-License-Identifier: MIT
#include "kfio/zip_directory.h"

#include "kfio/gdal_errors.h"

#include <cpl_conv.h>
#include <cpl_string.h>
#include <cpl_vsi.h>

#include <algorithm>
#include <memory>
#include <string_view>

// A zip archive consists of its members, a directory with an entry for each, and an end record with
// the offset of the directory. Source: PKWARE, APPNOTE.TXT 6.3.10, 4.3.12 to 4.3.16.

namespace kfio {
namespace {

using Bytes = std::string_view;

constexpr std::string_view prefix = "/vsizip/";
constexpr std::size_t endSize = 22, longestComment = 0xFFFF, locatorSize = 20, wideEndSize = 56;
constexpr std::uint64_t longestDirectory = 64 << 20;

std::uint64_t number(Bytes bytes, std::size_t at, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = size; i-- > 0;)
        value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

struct FileClose {
    void operator()(VSILFILE* file) const { VSIFCloseL(file); }
};
using File = std::unique_ptr<VSILFILE, FileClose>;

/// @return `count` bytes; fewer at the file's end.
std::string read(VSILFILE* file, std::uint64_t offset, std::size_t count) {
    std::string bytes(count, '\0');
    const bool there = VSIFSeekL(file, offset, SEEK_SET) == 0;
    bytes.resize(there ? VSIFReadL(bytes.data(), 1, count, file) : 0);
    return bytes;
}

/// The archive's directory; empty when it is not found.
std::string directoryOf(VSILFILE* file) {
    VSIFSeekL(file, 0, SEEK_END);
    const std::uint64_t size = VSIFTellL(file);
    const std::uint64_t tailSize =
        std::min<std::uint64_t>(size, endSize + longestComment + locatorSize);
    const std::string tail = read(file, size - tailSize, tailSize);
    const auto end = tail.rfind("PK\5\6");
    if (end == std::string::npos || tail.size() - end < endSize)
        return {};
    std::uint64_t length = number(tail, end + 12, 4), offset = number(tail, end + 16, 4);
    if ((offset == 0xFFFFFFFF || length == 0xFFFFFFFF) && end >= locatorSize &&
        tail.compare(end - locatorSize, 4, "PK\6\7") == 0) {
        const std::string wide = read(file, number(tail, end - locatorSize + 8, 8), wideEndSize);
        if (wide.size() < wideEndSize || !wide.starts_with("PK\6\6"))
            return {};
        length = number(wide, 40, 8);
        offset = number(wide, 48, 8);
    }
    return length <= longestDirectory ? read(file, offset, length) : std::string();
}

/// The size of a member of 4 GiB or more is in an extra field.
std::uint64_t sizeOf(Bytes entry, Bytes extra) {
    const std::uint64_t size = number(entry, 24, 4);
    while (size == 0xFFFFFFFF && extra.size() >= 4) {
        const std::size_t length = number(extra, 2, 2);
        if (number(extra, 0, 2) == 1 && length >= 8 && extra.size() >= 12)
            return number(extra, 4, 8);
        extra.remove_prefix(std::min(4 + length, extra.size()));
    }
    return size;
}

/// Passes each entry of a directory to `take`, with its name and its extra fields, until that
/// returns false.
template <class Take>
void readEntries(Bytes directory, const Take& take) {
    constexpr std::size_t fixed = 46;
    while (directory.size() >= fixed && directory.starts_with("PK\1\2")) {
        const std::size_t nameSize = number(directory, 28, 2), extraSize = number(directory, 30, 2);
        const std::size_t whole = fixed + nameSize + extraSize + number(directory, 32, 2);
        if (whole > directory.size() || !take(directory, directory.substr(fixed, nameSize),
                                              directory.substr(fixed + nameSize, extraSize)))
            break;
        directory.remove_prefix(whole);
    }
}

std::optional<ZipMember> findMember(Bytes directory, Bytes name) {
    std::optional<ZipMember> found;
    readEntries(directory, [&](Bytes entry, Bytes of, Bytes extra) {
        if (of == name)
            found =
                ZipMember{sizeOf(entry, extra), static_cast<std::uint32_t>(number(entry, 16, 4))};
        return !found;
    });
    return found;
}

/// @return a member's name in the form of GDAL's virtual paths.
std::string pathOf(Bytes entry, Bytes name) {
    constexpr std::uint64_t isUtf8 = 1 << 11;
    std::string path(name);
    std::replace(path.begin(), path.end(), '\\', '/');
    if (path.starts_with("./"))
        path.erase(0, 2);
    if ((number(entry, 8, 2) & isUtf8) != 0)
        return path;
    char* const decoded =
        CPLRecode(path.c_str(), CPLGetConfigOption("CPL_ZIP_ENCODING", "CP437"), CPL_ENC_UTF8);
    path = decoded;
    CPLFree(decoded);
    return path;
}

bool isFile(const std::string& path) {
    VSIStatBufL state;
    return VSIStatL(path.c_str(), &state) == 0 && VSI_ISREG(state.st_mode);
}

} // namespace

std::optional<ZipMember> zipMember(const std::string& path) {
    if (!path.starts_with(prefix))
        return std::nullopt;
    const ErrorCapture quiet;
    for (auto slash = path.find('/', prefix.size() + 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        std::string archive = path.substr(prefix.size(), slash - prefix.size());
        if (archive.front() == '{') // the archive's name in braces
            archive = archive.back() == '}' ? archive.substr(1, archive.size() - 2) : "";
        if (archive.empty() || !isFile(archive))
            continue;
        const File file(VSIFOpenL(archive.c_str(), "rb"));
        return file ? findMember(directoryOf(file.get()), Bytes(path).substr(slash + 1))
                    : std::nullopt;
    }
    return std::nullopt;
}

std::optional<std::vector<std::string>> zipPaths(const std::string& archive) {
    const ErrorCapture quiet;
    const File file(VSIFOpenL(archive.c_str(), "rb"));
    const std::string directory = file ? directoryOf(file.get()) : std::string();
    if (directory.empty())
        return std::nullopt;
    std::vector<std::string> paths;
    readEntries(directory, [&](Bytes entry, Bytes name, Bytes) {
        paths.push_back(pathOf(entry, name));
        return true;
    });
    return paths;
}

} // namespace kfio
