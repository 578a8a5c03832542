// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace batch {

/// What a result was made with. If any of it has changed, the result is made again.
struct Recipe {
    std::string verb, options, version;
    std::uint64_t productBytes = 0;
    std::int64_t productTime = 0; ///< modification, ns since 1970
    bool operator==(const Recipe&) const = default;
};

/// The outcome for one product: a line of batch.jsonl.
struct Row {
    std::string file;   ///< of the product, absolute
    std::string status; ///< done, kept, failed
    std::string output; ///< file name in the folder of results; empty for none
    std::string reason; ///< why it failed, was made again or has another name
    double seconds = 0; ///< of the run that made the result
    std::uint64_t peakMemoryMiB = 0;
    std::string verdict;               ///< the worst of a check: ok, warn, fail
    std::vector<std::string> warnings; ///< printed by the run
    Recipe recipe;
    std::uint64_t outputBytes = 0;
};

/// @return the text of a member; "" where there is none.
std::string memberText(const nlohmann::json& object, const char* key);

nlohmann::ordered_json rowJson(const Row& row);
/// @return the row as a line, without line end.
std::string rowLine(const Row& row);
/// @return false for a line that is no row, for example after an interrupted write.
bool readRow(const std::string& line, Row& row);

} // namespace batch
