// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/new_file.h"
#include "product/families/stated_product.h"

#include <cstdio>
#include <optional>
#include <string>

/// A file that appears complete or not at all, even if a signal ends the work (interruption.h). It
/// is written under another name in the same folder, and `commit` renames it. The name "-" is
/// stdout.
class OutputFile {
public:
    /// @throws loader::Error when the file exists and `force` is false, or when it cannot be made.
    OutputFile(std::string name, bool force);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// @throws loader::Error naming the file and the reason (a full disk, say).
    void write(const void* bytes, std::size_t count);
    void commit();

private:
    [[noreturn]] void fail() const;

    std::string name_;
    std::optional<kimg::NewFile> newFile_; ///< none for stdout
    std::FILE* file_ = nullptr;
};

/// @throws loader::Error when `name` exists, or is a dangling link, and `force` is false.
void refuseOverwriting(const std::string& name, bool force);

/// @throws loader::Error when `name` leads to a file of the product.
void refuseOwnFiles(const std::string& name, const product::StatedProduct& product);
