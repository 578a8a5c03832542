// SPDX-License-Identifier: MIT
#pragma once

#include "batch/row.h"

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace batch {

using Rows = std::map<std::string, Row>; ///< by product

/// A folder of results. It holds the results, `batch.jsonl` with a row for every product, and
/// during the work `.batch/` with rows not joined yet and the names that products have claimed.
/// Several processes, on several machines, may work in one folder at a time.
class ResultFolder {
public:
    enum class Use {
        alone,       ///< no other process; removes the remains of killed ones
        afterOthers, ///< as alone, but waits for other processes
        shared,      ///< together with others that share it
    };
    /// Makes the folder if it is missing, and reads its rows.
    /// @throws loader::Error when it cannot be used, or another process works in it.
    ResultFolder(const std::string& path, Use use);
    ~ResultFolder();
    ResultFolder(const ResultFolder&) = delete;
    ResultFolder& operator=(const ResultFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path workPath() const { return path_ / ".batch"; }
    std::filesystem::path rowsPath() const { return path_ / "batch.jsonl"; }
    const Rows& rows() const { return rows_; }

    /// Claims a name for a product's result. The first product to ask gets "<id><extension>", the
    /// next "<id>-2<extension>" and so on; a product that has a name already keeps it.
    std::string claim(const std::string& id, const std::string& extension,
                      const std::string& file) const;

    /// Adds a row and writes it to disk before returning.
    void add(Row row);

    /// Marks a product's row as kept; also on disk if other processes join the rows.
    void keep(const std::string& file);
    /// @return whether a product's row is in batch.jsonl, not among the rows added since the last
    ///         join.
    bool isJoined(const std::string& file) const { return !added_.contains(file); }

    /// Writes batch.jsonl with all rows, sorted by product, and removes the files that it joined.
    /// @param list  the list of products whose work ends here; "" for all lists that are there.
    void join(const std::string& list = "");

private:
    void lock(Use use);
    /// @return the products of the rows.
    std::vector<std::string> readRows(const std::filesystem::path& file);
    void removeParts() const;

    std::filesystem::path path_;
    Rows rows_;
    std::unordered_set<std::string> added_; ///< products with rows that are not joined
    std::unordered_map<std::string, std::string> owners_; ///< product by result
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> sink_{nullptr, std::fclose};
    bool shared_;
    int lock_ = -1;
};

/// @return an id as the name of a file, at most 200 bytes of UTF-8.
std::string fileNameOf(const std::string& id);

} // namespace batch
