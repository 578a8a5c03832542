#include "output/output_file.h"

#include "loader/plugin.h"
#include "output/interruption.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
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
    interruption::watch();
    newFile_.emplace(name_);
    file_ = std::fopen(newFile_->temporaryPath().c_str(), "wb");
    if (!file_)
        fail();
}

OutputFile::~OutputFile() {
    if (!file_ || file_ == stdout)
        return;
    std::fclose(file_);
}

void OutputFile::write(const void* bytes, std::size_t count) {
    interruption::check();
    if (std::fwrite(bytes, 1, count, file_) != count)
        fail();
}

void OutputFile::commit() {
    if (std::fflush(file_) != 0)
        fail();
    if (file_ == stdout)
        return;
    if (std::fclose(std::exchange(file_, nullptr)) != 0 || !newFile_->putInPlace())
        fail();
}

void OutputFile::fail() const {
    throw loader::Error((name_ == "-" ? "standard output" : name_) +
                        ": cannot be written: " + std::strerror(errno));
}
