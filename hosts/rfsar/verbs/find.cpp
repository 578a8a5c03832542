// SPDX-License-Identifier: MIT
#include "batch/catalogue_table.h"
#include "batch/row_text.h"
#include "loader/plugin.h"
#include "output/console.h"
#include "verbs/archive_verbs.h"
#include "verbs/numbers.h"

#include <nlohmann/json.hpp>

#include <regex>
#include <set>

namespace {

struct FindOptions {
    std::string catalogue, time;
    std::vector<double> box;
    std::vector<std::string> satellites, modes, types, passes, sides;
    bool all = false, json = false, list = false;
};

/// @return a condition that the column has one of the values, compared without case.
std::string anyOf(const std::string& column, const std::vector<std::string>& values) {
    std::string list;
    for (const std::string& value : values)
        list += (list.empty() ? "" : ", ") + kimg::sqlText(value);
    return values.empty() ? "" : column + " COLLATE NOCASE IN (" + list + ")";
}

/// Times in the table are texts of one form, so text order is time order. The beginning of a time
/// stands for the whole day, month or year.
std::string timeCondition(const std::string& range) {
    static const std::regex one(R"(\d{4}(-\d\d(-\d\d(T\d\d(:\d\d(:\d\d(\.\d+)?)?)?)?)?)?Z?)");
    const std::size_t slash = range.find('/');
    if (slash == std::string::npos)
        throw loader::Error("--time " + range + ": give START/END, .. for an open end");
    std::string conditions;
    for (const bool isStart : {true, false}) {
        std::string time = isStart ? range.substr(0, slash) : range.substr(slash + 1);
        if (time == ".." || time.empty())
            continue;
        if (!std::regex_match(time, one))
            throw loader::Error("--time " + time + ": is no time such as 2026-11-21T10:30:00Z");
        if (time.back() == 'Z')
            time.pop_back();
        constexpr char beyondDigits[] = "~";
        conditions += (conditions.empty() ? "" : " AND ") +
                      (isStart ? "stop >= " + kimg::sqlText(time)
                               : "start <= " + kimg::sqlText(time + beyondDigits));
    }
    return conditions;
}

std::string conditionOf(const FindOptions& options) {
    std::string whole;
    for (const std::string& part :
         {options.time.empty() ? std::string() : timeCondition(options.time),
          anyOf("satellite", options.satellites), anyOf("beam_mode", options.modes),
          anyOf("product_type", options.types), anyOf("orbit_direction", options.passes),
          anyOf("look_side", options.sides),
          std::string(options.all ? "" : "vanished = 0 AND error IS NULL")})
        if (!part.empty())
            whole += (whole.empty() ? "" : " AND ") + part;
    return whole;
}

/// West beyond east crosses the antimeridian.
std::vector<std::optional<std::array<double, 4>>> boxesOf(const std::vector<double>& box) {
    if (box.empty())
        return {std::nullopt};
    if (box[1] > box[3])
        throw loader::Error("--bbox: south lies north of north; give W,S,E,N");
    if (box[0] <= box[2])
        return {std::array{box[0], box[1], box[2], box[3]}};
    return {std::array{box[0], box[1], 180.0, box[3]}, std::array{-180.0, box[1], box[2], box[3]}};
}

void find(const FindOptions& options) {
    const auto table = kimg::FeatureTable::open(options.catalogue, batch::catalogueTable,
                                                batch::catalogueFields(), false);
    batch::RowPrinter printer(options.json   ? batch::RowStyle::json
                              : options.list ? batch::RowStyle::files
                                             : batch::RowStyle::text);
    kimg::FeatureQuery query;
    query.where = conditionOf(options);
    query.outlines = options.json;
    if (options.list)
        query.fields = {"file"};
    std::set<std::int64_t> printed;
    for (const auto& box : boxesOf(options.box)) {
        query.box = box;
        table.forEach(query, [&](kimg::Feature&& feature) {
            if (printed.insert(feature.id).second)
                printer.print(batch::rowOf(feature, options.catalogue));
        });
    }
    printer.finish();
}

} // namespace

void addFind(CLI::App& app) {
    auto* verb = app.add_subcommand("find", "find products in a catalogue");
    auto options = std::make_shared<FindOptions>();
    verb->add_option("CATALOGUE", options->catalogue, "GeoPackage that rfsar catalogue wrote")
        ->required();
    verb->add_option(
            "--bbox", options->box,
            "W,S,E,N in degrees: footprints that overlap it; W > E crosses the antimeridian")
        ->delimiter(',')
        ->expected(4)
        ->check(finiteNumber());
    verb->add_option("--time", options->time,
                     "START/END: acquisitions that overlap it, such as 2026-01/2026-03-31; .. "
                     "leaves an end open");
    const auto choice = [&](const char* name, std::vector<std::string>& values, const char* what) {
        verb->add_option(name, values, what)->delimiter(',');
    };
    choice("--satellite", options->satellites, "any of these");
    choice("--mode", options->modes, "beam mode, any of these");
    choice("--type", options->types, "product type, any of these");
    choice("--pass", options->passes, "ascending or descending");
    choice("--look", options->sides, "left or right");
    verb->add_flag("--all", options->all, "include vanished and damaged products");
    auto* json = verb->add_flag("--json", options->json, "print JSON");
    verb->add_flag("--list", options->list, "print only the products' files")->excludes(json);
    verb->footer("Examples:\n"
                 "  rfsar find catalogue.gpkg --bbox 10,47,12,49 --time 2026-01/..\n"
                 "  rfsar find catalogue.gpkg --pass ascending --list | rfsar batch stac --list - "
                 "--into items");
    verb->callback([options] { find(*options); });
}
