// SPDX-License-Identifier: MIT
#include "kfio/kfio.h"

#include "kfnp/kfnp.h"
#include "kfio/virtual_files.h"
#include "ktxt/ktxt.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::int64_t nsPerS = 1'000'000'000;

std::string utf8Name(std::u16string_view name) { return kfnp::clean(ktxt::narrow(name)); }

kfio::FileState virtualState(const std::string& name) {
    kfio::FileState state;
    if (const auto found = kfio::virtualStat(name)) {
        state.exists = true;
        state.isRegularFile = !found->isDirectory;
        state.isReadable = true;
        state.size = found->size;
        state.modifiedNs = found->mtime * nsPerS;
    }
    return state;
}

kfio::FileState localState(const std::string& name) {
    kfio::FileState state;
    struct stat found = {};
    if (stat(name.c_str(), &found) != 0)
        return state;
    state.exists = true;
    state.isRegularFile = S_ISREG(found.st_mode);
    state.isReadable = access(name.c_str(), R_OK) == 0;
    state.size = static_cast<std::uint64_t>(found.st_size);
    state.modifiedNs = std::int64_t{found.st_mtim.tv_sec} * nsPerS + found.st_mtim.tv_nsec;
    return state;
}

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using LocalFile = std::unique_ptr<std::FILE, Closer>;

/// O_NONBLOCK, so that a fifo in place of a file cannot hang the reader.
LocalFile openLocal(const std::string& name) {
    const int descriptor = open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    return LocalFile(descriptor < 0 ? nullptr : fdopen(descriptor, "rb"));
}

std::optional<std::string> readLocal(const std::string& name, std::size_t count,
                                     std::string& reason) {
    const LocalFile file = openLocal(name);
    if (!file) {
        reason = std::strerror(errno);
        return std::nullopt;
    }
    std::string bytes(count, '\0');
    bytes.resize(std::fread(bytes.data(), 1, count, file.get()));
    if (std::ferror(file.get())) {
        reason = "cannot be read";
        return std::nullopt;
    }
    return bytes;
}

bool holds(const std::filesystem::path& folder, const std::filesystem::path& path) {
    return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first ==
           folder.end();
}

std::filesystem::path commonFolder(const std::filesystem::path& one,
                                   const std::filesystem::path& other) {
    std::filesystem::path common;
    for (auto a = one.begin(), b = other.begin(); a != one.end() && b != other.end() && *a == *b;
         ++a, ++b)
        common /= *a;
    return common;
}

std::string sizeComplaint() {
    return "is larger than " + std::to_string(kfio::maximumDocumentBytes >> 20) + " MiB";
}

} // namespace

namespace kfio {

FileState fileState(std::string_view name) {
    const std::string path = kfnp::clean(name);
    return kfnp::isVirtual(path) ? virtualState(path) : localState(path);
}

bool linkLeavesProduct(const std::string& productFile, const std::string& file) {
    namespace fs = std::filesystem;
    if (kfnp::isVirtual(productFile))
        return false;
    std::error_code missing;
    const fs::path folder = fs::canonical(fs::path(productFile).parent_path() / ".", missing);
    const fs::path target = fs::canonical(file, missing);
    if (missing)
        return false;
    if (holds(folder.parent_path(), target))
        return false;
    // Tools that version data, and workflows, lay out a product as links into a store.
    const fs::path product = fs::canonical(productFile, missing);
    return missing || holds(commonFolder(product, target), folder);
}

std::optional<std::string> readDocument(std::string_view name, std::string& reason) {
    const std::string path = kfnp::clean(name);
    const FileState state = fileState(path);
    if (!state.exists)
        reason = "does not exist";
    else if (!state.isRegularFile)
        reason = "is not a file";
    else if (state.size > maximumDocumentBytes)
        reason = sizeComplaint();
    else if (kfnp::isVirtual(path))
        return kfio::readVirtualFile(path, maximumDocumentBytes, reason);
    else
        return readLocal(path, static_cast<std::size_t>(state.size), reason);
    return std::nullopt;
}

} // namespace kfio

struct KFIO_STAT_CACHE {
    kfio::FileState state;
};

bool kfio_FileExists(std::u16string_view name) {
    return !name.empty() && kfio::fileState(utf8Name(name)).exists;
}

KFIO_STAT_CACHE* kfio_StatCacheCreate(std::u16string_view name, KERR_REPORT** slot) {
    if (name.empty()) {
        kerr::raise(slot, "kfio_StatCacheCreate", "the file name is empty");
        return nullptr;
    }
    return new KFIO_STAT_CACHE{kfio::fileState(utf8Name(name))};
}

std::int64_t kfio_StatCacheGet(const KFIO_STAT_CACHE* cache, int item, KERR_REPORT** slot) {
    if (!cache)
        return 0;
    switch (item) {
    case kfioExists:
        return cache->state.exists;
    case kfioIsRegularFile:
        return cache->state.isRegularFile;
    case kfioIsReadable:
        return cache->state.isReadable;
    case kfioModificationTime:
        return cache->state.modifiedNs / nsPerS;
    default:
        kerr::raise(slot, "kfio_StatCacheGet", "item " + std::to_string(item) + " is not kept");
        return 0;
    }
}

void kfio_StatCacheFree(KFIO_STAT_CACHE* cache) { delete cache; }
