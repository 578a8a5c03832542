// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <string>

namespace batch {

enum class RowStyle { text, csv, json, files };

/// Prints rows of products to stdout, each when it arrives.
class RowPrinter {
public:
    explicit RowPrinter(RowStyle style);
    void print(const nlohmann::ordered_json& row);
    /// Must be called after the last row.
    void finish() const;

private:
    RowStyle style_;
    std::size_t count_ = 0;
};

} // namespace batch
