// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/feature_table.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

/// The table of a product catalogue: its columns, and its rows as JSON (the fields of productRow,
/// and bytes, modified, checked, vanished, error).
namespace batch {

constexpr char catalogueTable[] = "products";

const std::vector<kimg::Field>& catalogueFields();
/// The columns with an index, for searching.
const std::vector<std::string>& indexedFields();

kimg::Feature featureOf(const nlohmann::ordered_json& row);
/// @param catalogue  its file, for errors
/// @throws loader::Error when the row names no file.
nlohmann::ordered_json rowOf(const kimg::Feature& feature, const std::string& catalogue);

} // namespace batch
