// SPDX-License-Identifier: MIT
#include "output/output_file.h"

#include "loader/plugin.h"
#include "output/archive_path.h"
#include "output/interruption.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

void refuseOverwriting(const std::string& name, bool force) {
    std::error_code ignored;
    const auto status = std::filesystem::status(name, ignored);
    if (name == "-")
        return;
    if (!std::filesystem::exists(status)) {
        if (!force && std::filesystem::is_symlink(std::filesystem::symlink_status(name, ignored)))
            throw loader::Error(name + ": is a link to a file that is not there; --force replaces "
                                       "the link");
        return;
    }
    // The finished file replaces the old one, so it must not be a device or folder.
    if (!std::filesystem::is_regular_file(status))
        throw loader::Error(name + ": is not a regular file and is not replaced");
    if (!force)
        throw loader::Error(name + ": exists already; --force replaces it");
}

void refuseOwnFiles(const std::string& name, const product::StatedProduct& product) {
    std::error_code ignored;
    if (name == "-" || !std::filesystem::exists(name, ignored))
        return;
    const product::ProductFacts& facts = product.facts();
    std::vector<std::string> files = facts.documents;
    for (const std::string& file : product.furtherFiles())
        files.push_back(file);
    for (const product::StatedImage& image : facts.images)
        files.push_back(image.file);
    for (const product::StatedBurst& burst : product.bursts())
        for (const product::StatedImage& image : burst.images)
            files.push_back(image.file);
    files.push_back(outermostArchive(product.file()));
    for (const std::string& file : files)
        if (std::filesystem::equivalent(name, file, ignored))
            throw loader::Error(name + ": is one of the product's own files and is not replaced; "
                                       "name another output");
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
