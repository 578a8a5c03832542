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

/// A folder of results: the results, `batch.jsonl` with a row for every product, and while work
/// goes on `.batch/` with rows that are not joined yet and the names that products have taken.
/// Several processes, on several machines, may work in one folder at a time.
class ResultFolder {
public:
    enum class Use {
        alone,       ///< no other process; what killed ones have left is removed
        afterOthers, ///< as alone, but waits for them
        shared,      ///< beside others that share it
    };
    /// Makes the folder where it is missing, and reads its rows.
    /// @throws loader::Error when it cannot be used, or another process is at work in it.
    ResultFolder(const std::string& path, Use use);
    ~ResultFolder();
    ResultFolder(const ResultFolder&) = delete;
    ResultFolder& operator=(const ResultFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path workPath() const { return path_ / ".batch"; }
    std::filesystem::path rowsPath() const { return path_ / "batch.jsonl"; }
    const Rows& rows() const { return rows_; }

    /// Takes a name for a product's result. The first product to ask has "<id><extension>", others
    /// "<id>-2<extension>" and so on; a product that has a name already keeps it.
    std::string claim(const std::string& id, const std::string& extension,
                      const std::string& file) const;

    /// Adds a row, on disk before it returns.
    void add(Row row);

    /// Says of a product's row that its result was kept; on disk too where others join rows.
    void keep(const std::string& file);
    /// @return whether a product's row was there before others added theirs that are not joined.
    bool isJoined(const std::string& file) const { return !added_.contains(file); }

    /// Writes batch.jsonl with all rows, sorted by product, and removes what it was joined from.
    /// @param list  a list of products that this ends, "" for all that are there.
    void join(const std::string& list = "");

private:
    void lock(Use use);
    /// @return the products that they are of.
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
