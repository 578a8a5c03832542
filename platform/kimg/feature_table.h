// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace kimg {

enum class FieldType { text, integer, real, time, flag };

struct Field {
    std::string name;
    FieldType type = FieldType::text;
};

/// Null; a text or a time (ISO 8601 with Z); an integer or a flag (0, 1); a real number.
using FieldValue = std::variant<std::monostate, std::string, std::int64_t, double>;

/// Closed rings of longitudes and latitudes in degrees, one per polygon.
using Outline = std::vector<std::vector<std::array<double, 2>>>;

struct Feature {
    std::int64_t id = -1;           ///< set by the table
    std::vector<FieldValue> values; ///< one for each field
    Outline outline;                ///< empty where it is not known
};

struct FeatureQuery {
    std::string where; ///< an SQL condition on fields; "" for all
    /// West, south, east, north in degrees; west <= east.
    std::optional<std::array<double, 4>> box;
    std::vector<std::string> fields; ///< fields to read, others stay empty; empty: all
    bool outlines = true;            ///< whether to read outlines
};

/// A table of outlines on the ground (WGS 84, multipolygons with a spatial index) in a GeoPackage.
/// `commit` makes all changes visible at once; without it, none. One thread; no printing.
/// @throws std::runtime_error naming the file and the reason, everywhere.
class RF_PLATFORM_API FeatureTable {
public:
    /// @param indexed  fields with an index, for searching
    static FeatureTable create(const std::string& path, const std::string& name,
                               const std::vector<Field>& fields,
                               const std::vector<std::string>& indexed);
    /// Fields are found by name.
    static FeatureTable open(const std::string& path, const std::string& name,
                             const std::vector<Field>& fields, bool forChanges);
    FeatureTable(FeatureTable&&) noexcept;
    ~FeatureTable();

    void forEach(const FeatureQuery& query, const std::function<void(Feature&&)>& take) const;
    void add(const Feature& feature);
    /// Replaces the feature of that id.
    void replace(const Feature& feature);
    void commit();

private:
    struct State;
    explicit FeatureTable(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};

/// @return a text as a literal of SQL.
RF_PLATFORM_API std::string sqlText(const std::string& text);

} // namespace kimg
