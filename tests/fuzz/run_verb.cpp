// SPDX-License-Identifier: MIT
// A verb of rfsar in this process: all that it prints is looked at, and what it leaves in a folder.
#include "fuzz/attempt.h"
#include "fuzz/captured.h"
#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "fuzz/ways.h"

#include "batch/product_row.h"
#include "batch/row_text.h"
#include "output/console.h"
#include "output/interruption.h"
#include "verbs/archive_verbs.h"
#include "verbs/verbs.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <sstream>
#include <vector>

namespace fuzz {
namespace {

/// OUT stands for a new file in a folder of its own, DEM for an elevation model.
constexpr std::array<std::string_view, 33> lines = {
    "info",
    "info --json",
    "check",
    "check --json",
    "check --read",
    "stac",
    "list",
    "list --json",
    "list --csv",
    "list --json --timeout 60",
    "identify",
    "identify --json",
    "node :SAR_Metadata",
    "node :SAR_Metadata@1/1",
    "node :Doppler",
    "locate",
    "locate --inverse",
    "locate --dem DEM --dem-heights ellipsoid",
    "read SIGMA_NOUGHT -o -",
    "read GAMMA_DB --denoise -o -",
    "read NOISE --window 0,0,3,3 -o -",
    "stac -o OUT.json",
    "export -o OUT.tif",
    "export --layer BETA_NOUGHT --denoise --overviews --compress deflate -o OUT.tif",
    "quicklook --size 40 -o OUT.png",
    "quicklook --size 40 --north-up --graticule --scale-bar --north-arrow -o OUT.png",
    "quicklook --size 4 --rgb -o OUT.png",
    "quicklook --size 4 --layer SIGMA_NOUGHT_DB --north-up -o OUT.tif",
    "geocode --crs EPSG:4326 -o OUT.tif",
    "geocode --crs EPSG:32632 --db --cog -o OUT.tif",
    "geocode --layer SIGMA_NOUGHT --crs EPSG:32632 --dem DEM --dem-heights ellipsoid -o OUT.tif",
    "rtc --radar-geometry --dem DEM --dem-heights ellipsoid --stac -o OUT.tif",
    "rtc --crs EPSG:32632 --dem DEM --dem-heights ellipsoid --db --denoise --cog -o OUT.tif"};

constexpr std::string_view points = "0 0\n3.5 2 100\n\n+7 7\n-1e9 1e300\n11.5 48.1\n";

std::vector<std::string> wordsOf(std::string_view line, const std::string& entry,
                                 const ScratchFolder& scratch) {
    std::vector<std::string> words;
    std::istringstream in{std::string(line)};
    for (std::string word; in >> word;) {
        if (word.starts_with("OUT."))
            word = scratch.path() + "/out" + word.substr(3);
        words.push_back(word == "DEM" ? scratch.elevationFile() : word);
    }
    words.insert(words.begin() + 1, entry);
    return words;
}

using AddVerb = void (*)(CLI::App& app, int& status);

template <void (*Add)(CLI::App&)>
void withoutStatus(CLI::App& app, int&) {
    Add(app);
}

AddVerb verbNamed(std::string_view name) {
    static const std::pair<std::string_view, AddVerb> verbs[] = {
        {"info", addInfo},
        {"check", addCheck},
        {"identify", addIdentify},
        {"list", addList},
        {"stac", withoutStatus<addStac>},
        {"node", withoutStatus<addNode>},
        {"locate", withoutStatus<addLocate>},
        {"read", withoutStatus<addRead>},
        {"export", withoutStatus<addExport>},
        {"quicklook", withoutStatus<addQuicklook>},
        {"geocode", withoutStatus<addGeocode>},
        {"rtc", withoutStatus<addRtc>},
    };
    return std::find_if(std::begin(verbs), std::end(verbs),
                        [&](const auto& each) { return each.first == name; })
        ->second;
}

/// As a row of `list`, but in this process: what children reach is not seen. The line with a
/// timeout has children.
void listRow(const std::string& entry, bool asJson, bool asCsv) {
    using batch::RowStyle;
    batch::RowPrinter printer(asJson ? RowStyle::json : asCsv ? RowStyle::csv : RowStyle::text);
    nlohmann::ordered_json row;
    if (!attempt([&] { row = batch::productRow(entry); }))
        row = {{"file", entry}, {"error", "cannot be opened"}};
    printer.print(row);
    printer.finish();
}

void run(const std::vector<std::string>& words, std::string_view line) {
    if (words.front() == "list" && line.find("--timeout") == line.npos) {
        listRow(words[1], line.ends_with("--json"), line.ends_with("--csv"));
        return;
    }
    int status = 0;
    CLI::App app;
    verbNamed(words.front())(app, status);
    app.parse(std::vector<std::string>(words.rbegin(), words.rend())); // as CLI11 takes them
}

} // namespace

void runVerb(const std::string& entry, std::string_view wanted) {
    static const ScratchFolder scratch;
    const std::string_view line = chosenOf(lines, wanted);
    const auto words = wordsOf(line, entry, scratch);
    console::Listener listener;
    listener.warning = requireSentence;
    const interruption::LeftAlone leftAlone;
    bool done = false;
    const Captured said = captured(points, [&](std::ostream& data) {
        const console::Listening listening(listener, data);
        done = attempt([&] { run(words, line); });
    });
    requireText(said.told, false);
    const bool isJson = line.find("json") != line.npos || line == "stac" || words[0] == "node";
    if (isJson && done && line.find("OUT") == line.npos)
        requireJson(said.data);
    else if (words[0] != "read")
        requireText(said.data, words[0] == "locate");
    const bool writes = line.find("OUT") != line.npos;
    const std::size_t left = scratch.clear();
    require(left == 0 || (writes && done), "what fails, or only prints, leaves nothing behind");
}

} // namespace fuzz
