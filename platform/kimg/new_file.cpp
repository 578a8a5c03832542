// SPDX-License-Identifier: MIT
#include "kimg/new_file.h"

#include "kimg/leftovers.h"

#include <cpl_conv.h>
#include <cpl_vsi.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include <unistd.h>

namespace kimg {
namespace {

constexpr char sideCars[] = "GDAL_PAM_ENABLED";

constexpr char mark[] = ".part-";

bool leavesLeftovers = false;

std::string temporaryNameBeside(const std::string& path) {
    static std::atomic<unsigned> count{0};
    const std::size_t folder = path.rfind('/') + 1;
    return path.substr(0, folder) + partNameStart(path.substr(folder)) + std::to_string(getpid()) +
           "-" + std::to_string(++count);
}

/// Temporary files of processes that have ended.
void removeLeftovers(const std::string& path) {
    namespace fs = std::filesystem;
    const fs::path whole(path);
    const std::string start = partNameStart(whole.filename().string());
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(whole.parent_path() / ".", ignored)) {
        const std::string name = entry.path().filename().string();
        const pid_t process =
            name.starts_with(start) ? std::atoi(name.c_str() + start.size()) : pid_t{0};
        if (process > 0 && kill(process, 0) != 0 && errno == ESRCH)
            fs::remove(entry.path(), ignored);
    }
}

} // namespace

std::string partNameStart(const std::string& name) {
    constexpr std::size_t longest = 150; // parts may have parts of their own
    if (name.size() <= longest)
        return name + mark;
    std::uint64_t sum = 0xCBF29CE484222325; // FNV-1a
    for (const char c : name)
        sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    std::size_t end = longest;
    while ((static_cast<unsigned char>(name[end]) & 0xC0U) == 0x80U) // within a character
        --end;
    return name.substr(0, end) + '-' + std::to_string(sum) + mark;
}

NewFile::NewFile(std::string path)
    : path_(std::move(path)), temporaryPath_(temporaryNameBeside(path_)) {
    if (!leavesLeftovers)
        removeLeftovers(path_);
}

NewFile::~NewFile() {
    if (!inPlace_)
        VSIUnlink(temporaryPath_.c_str());
}

std::string NewFile::told(std::string message) const {
    for (auto at = message.find(temporaryPath_); at != std::string::npos;
         at = message.find(temporaryPath_, at + path_.size()))
        message.replace(at, temporaryPath_.size(), path_);
    return message;
}

bool NewFile::putInPlace() {
    inPlace_ = VSIRename(temporaryPath_.c_str(), path_.c_str()) == 0;
    return inPlace_;
}

void leaveLeftovers() {
    leavesLeftovers = true;
}

NoSideCars::NoSideCars() {
    if (const char* before = CPLGetThreadLocalConfigOption(sideCars, nullptr))
        before_ = before;
    CPLSetThreadLocalConfigOption(sideCars, "NO");
}

NoSideCars::~NoSideCars() {
    CPLSetThreadLocalConfigOption(sideCars, before_ ? before_->c_str() : nullptr);
}

} // namespace kimg
