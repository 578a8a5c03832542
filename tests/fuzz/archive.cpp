// SPDX-License-Identifier: MIT
// What verbs for archives read back: a catalogue and a search in it, the rows of a batch, and what
// children say. Sections: "find", the words of a search, one a line; "table", "rows", lines of
// JSON; "report", "told", texts of a child.
#include "fuzz/captured.h"
#include "fuzz/oracles.h"
#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "fuzz/sections.h"

#include "batch/catalogue_table.h"
#include "batch/result_folder.h"
#include "batch/told.h"
#include "batch/unit.h"
#include "kimg/feature_table.h"
#include "verbs/archive_verbs.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace {

using fuzz::require;
using nlohmann::json;
namespace fs = std::filesystem;

std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    std::istringstream stream{std::string(text)};
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

kimg::FieldValue valueOf(const json& value) {
    if (value.is_string())
        return value.get<std::string>();
    if (value.is_number_integer())
        return value.get<std::int64_t>();
    if (value.is_number())
        return value.get<double>();
    return {};
}

/// Any program may have written the table: values of any type, outlines of any form.
std::optional<kimg::Feature> featureOf(const std::string& line) {
    const json row = json::parse(line, nullptr, false);
    if (!row.is_object())
        return std::nullopt;
    kimg::Feature feature;
    for (const kimg::Field& field : batch::catalogueFields())
        feature.values.push_back(row.contains(field.name) ? valueOf(row[field.name])
                                                          : kimg::FieldValue());
    if (row.contains("outline") && row["outline"].is_array())
        for (const json& ring : row["outline"]) {
            auto& points = feature.outline.emplace_back();
            for (std::size_t i = 0; ring.is_array() && i + 1 < ring.size(); i += 2)
                if (ring[i].is_number() && ring[i + 1].is_number())
                    points.push_back({ring[i].get<double>(), ring[i + 1].get<double>()});
        }
    return feature;
}

/// @return whether there is a table now; the driver refuses some outlines.
bool writeTable(const std::string& file, std::string_view text) {
    auto table = kimg::FeatureTable::create(file, batch::catalogueTable, batch::catalogueFields(),
                                            batch::indexedFields());
    try {
        for (const std::string& line : linesOf(text))
            if (const auto feature = featureOf(line))
                table.add(*feature);
        table.commit();
    } catch (const std::runtime_error& error) {
        fuzz::requireSentence(error.what());
        return false;
    }
    return true;
}

void refused(const std::exception& error) {
    const std::string_view text = error.what();
    fuzz::requireSentence(text);
    require(text.find("syntax error") == text.npos && text.find("no such column") == text.npos,
            "values are values in a search");
}

void run(void (*add)(CLI::App&), const std::vector<std::string>& words) {
    const bool asJson = std::find(words.begin(), words.end(), "--json") != words.end();
    bool done = false;
    const fuzz::Captured said = fuzz::captured("", [&](std::ostream&) {
        CLI::App app;
        add(app);
        try {
            app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
            done = true;
        } catch (const CLI::ParseError&) { // a wrong command line
        } catch (const std::runtime_error& error) {
            refused(error);
        }
    });
    if (done && asJson)
        fuzz::requireJson(said.data);
    else
        fuzz::requireText(said.data, false);
    fuzz::requireText(said.told, false);
}

void readCatalogue(const fs::path& folder, std::string_view table, std::string_view search) {
    const std::string file = folder / "catalogue.gpkg";
    if (!writeTable(file, table))
        return;
    std::vector<std::string> words = {"find", file};
    for (std::string& word : linesOf(search))
        words.push_back(std::move(word));
    run(addFind, words);
    fs::create_directory(folder / "products");
    run(addCatalogue, {"catalogue", folder / "products", "-o", file});
    run(addFind, {"find", file, "--all", "--json"});
}

void readBatch(const fs::path& folder, std::string_view text) {
    for (const std::string& line : linesOf(text))
        if (batch::Row row, again; batch::readRow(line, row))
            require(batch::readRow(batch::rowLine(row), again) &&
                        batch::rowLine(again) == batch::rowLine(row),
                    "a row reads back to the same");
    std::ofstream(folder / "batch.jsonl") << text;
    using batch::ResultFolder;
    std::size_t rows = 0;
    {
        ResultFolder results(folder, ResultFolder::Use::alone);
        rows = results.rows().size();
        for (const auto& [file, row] : results.rows()) {
            const std::string id = batch::fileNameOf(row.reason);
            const std::string name = id.empty() ? "" : results.claim(id, ".json", file);
            require(name.find('/') == name.npos, "a result lies in its folder");
        }
        results.join();
    }
    const ResultFolder joined(folder, ResultFolder::Use::alone);
    require(joined.rows().size() == rows, "joined rows are all rows");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    static const fuzz::ScratchFolder scratch;
    const std::string_view input(reinterpret_cast<const char*>(bytes), size);
    fuzz::setInput(input);
    std::string_view table, search;
    for (const fuzz::Section& section : fuzz::sections(input)) {
        if (section.name == "table")
            table = section.content;
        else if (section.name == "find")
            search = section.content;
        else if (section.name == "rows")
            readBatch(scratch.path(), section.content);
        else if (section.name == "report")
            batch::readReport(std::string(section.content));
        else if (section.name == "told")
            batch::readTold(std::string(section.content));
    }
    if (!table.empty())
        readCatalogue(scratch.path(), table, search);
    scratch.clear();
    return 0;
}
