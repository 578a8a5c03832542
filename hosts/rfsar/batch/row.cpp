// SPDX-License-Identifier: MIT
#include "batch/row.h"

#include <nlohmann/json.hpp>

#include <type_traits>

namespace batch {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

ordered_json textOrNull(const std::string& text) {
    return text.empty() ? ordered_json(nullptr) : ordered_json(text);
}

/// 0 for what is no such number: a real one may be beyond whole ones.
template <typename Number>
Number number(const json& object, const char* key) {
    const auto found = object.find(key);
    const bool fits =
        found != object.end() &&
        (std::is_floating_point_v<Number> ? found->is_number() : found->is_number_integer());
    return fits ? found->get<Number>() : Number{};
}

} // namespace

std::string memberText(const json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

ordered_json rowJson(const Row& row) {
    ordered_json object = {{"file", row.file},
                           {"status", row.status},
                           {"output", textOrNull(row.output)},
                           {"reason", textOrNull(row.reason)},
                           {"seconds", row.seconds},
                           {"peakMemoryMiB", row.peakMemoryMiB}};
    if (!row.verdict.empty())
        object["verdict"] = row.verdict;
    if (!row.warnings.empty())
        object["warnings"] = row.warnings;
    object["recipe"] = {{"verb", row.recipe.verb},
                        {"options", row.recipe.options},
                        {"version", row.recipe.version},
                        {"productBytes", row.recipe.productBytes},
                        {"productTimeNs", row.recipe.productTime},
                        {"outputBytes", row.outputBytes}};
    return object;
}

std::string rowLine(const Row& row) {
    return rowJson(row).dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

bool readRow(const std::string& line, Row& row) {
    const json object = json::parse(line, nullptr, false);
    if (!object.is_object() || memberText(object, "file").empty())
        return false;
    row.file = memberText(object, "file");
    row.status = memberText(object, "status");
    row.output = memberText(object, "output");
    row.reason = memberText(object, "reason");
    row.seconds = number<double>(object, "seconds");
    row.peakMemoryMiB = number<std::uint64_t>(object, "peakMemoryMiB");
    row.verdict = memberText(object, "verdict");
    if (const auto found = object.find("warnings"); found != object.end() && found->is_array())
        for (const json& each : *found)
            if (each.is_string())
                row.warnings.push_back(each.get<std::string>());
    if (const auto recipe = object.find("recipe"); recipe != object.end() && recipe->is_object()) {
        row.recipe = {memberText(*recipe, "verb"), memberText(*recipe, "options"),
                      memberText(*recipe, "version"),
                      number<std::uint64_t>(*recipe, "productBytes"),
                      number<std::int64_t>(*recipe, "productTimeNs")};
        row.outputBytes = number<std::uint64_t>(*recipe, "outputBytes");
    }
    return true;
}

} // namespace batch
