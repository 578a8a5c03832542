// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace batch {

/// What a result was made with; when any of it differs now, it is made anew.
struct Recipe {
    std::string verb, options, version;
    std::uint64_t productBytes = 0;
    std::int64_t productTime = 0; ///< modification, ns since 1970
    bool operator==(const Recipe&) const = default;
};

/// What became of a product: a line of batch.jsonl.
struct Row {
    std::string file;   ///< of the product, absolute
    std::string status; ///< done, kept, failed
    std::string output; ///< file name in the folder of results; empty for none
    std::string reason; ///< why it failed, was made anew or has another name
    double seconds = 0; ///< of the run that made the result
    std::uint64_t peakMemoryMiB = 0;
    std::string verdict;               ///< the worst of a check: ok, warn, fail
    std::vector<std::string> warnings; ///< that were told meanwhile
    Recipe recipe;
    std::uint64_t outputBytes = 0;
};

nlohmann::ordered_json rowJson(const Row& row);
/// @return a line without its end.
std::string rowLine(const Row& row);
/// @return false for what is no row, as an interrupted write leaves it.
bool readRow(const std::string& line, Row& row);

} // namespace batch
