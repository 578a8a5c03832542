#include "output_file.h"

#include "loader/plugin.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <unistd.h>
#include <utility>

void refuseOverwriting(const std::string& name, bool force) {
    std::error_code ignored;
    const auto status = std::filesystem::status(name, ignored);
    if (name == "-" || !std::filesystem::exists(status))
        return;
    // A finished file takes the place of the old one: a device or folder must not be replaced.
    if (!std::filesystem::is_regular_file(status))
        throw loader::Error(name + ": is not a regular file and is not replaced");
    if (!force)
        throw loader::Error(name + ": exists already; --force replaces it");
}

OutputFile::OutputFile(std::string name, bool force) : name_(std::move(name)) {
    refuseOverwriting(name_, force);
    if (name_ == "-") {
        file_ = stdout;
        return;
    }
    partName_ = name_ + ".part" + std::to_string(getpid());
    file_ = std::fopen(partName_.c_str(), "wb");
    if (!file_)
        fail();
}

OutputFile::~OutputFile() {
    if (!file_ || file_ == stdout)
        return;
    std::fclose(file_);
    std::remove(partName_.c_str());
}

void OutputFile::write(const void* bytes, std::size_t count) {
    if (std::fwrite(bytes, 1, count, file_) != count)
        fail();
}

void OutputFile::commit() {
    if (std::fflush(file_) != 0)
        fail();
    if (file_ == stdout)
        return;
    if (std::fclose(std::exchange(file_, nullptr)) != 0 ||
        std::rename(partName_.c_str(), name_.c_str()) != 0) {
        const int reason = errno;
        std::remove(partName_.c_str());
        errno = reason;
        fail();
    }
}

void OutputFile::fail() const {
    throw loader::Error((name_ == "-" ? "standard output" : name_) + ": cannot be written: " +
                        std::strerror(errno));
}
