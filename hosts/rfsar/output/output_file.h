// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/new_file.h"
#include "product/families/stated_product.h"

#include <cstdio>
#include <optional>
#include <string>

/// A file that appears whole or not at all, also when a signal ends the work (interruption.h):
/// written under another name in the same folder and renamed by `commit`. The name "-" is stdout.
class OutputFile {
public:
    /// @throws loader::Error when the file exists and `force` is not given, or cannot be made.
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

/// @throws loader::Error when `name` exists, or is a link to nothing, and `force` is not given.
void refuseOverwriting(const std::string& name, bool force);

/// @throws loader::Error when `name` is a file of the product, by whatever name.
void refuseOwnFiles(const std::string& name, const product::StatedProduct& product);
