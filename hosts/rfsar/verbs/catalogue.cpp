// SPDX-License-Identifier: MIT
#include "batch/catalogue_table.h"
#include "batch/product_row.h"
#include "batch/progress.h"
#include "batch/row.h"
#include "kfio/kfio.h"
#include "kfnp/kfnp.h"
#include "loader/plugin.h"
#include "output/console.h"
#include "output/ordered_work.h"
#include "output/output_file.h"
#include "verbs/archive_verbs.h"
#include "verbs/numbers.h"

#include <nlohmann/json.hpp>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <unordered_map>

namespace {

using nlohmann::ordered_json;

struct CatalogueOptions {
    std::vector<std::string> folders;
    std::string output, checks;
    bool force = false;
    std::size_t atOnce = 0;
    double timeoutS = 0;
};

/// What the catalogue already contains about a product.
struct Known {
    std::int64_t id = -1, bytes = 0, modifiedNs = 0;
    bool vanished = false;
    std::string checked;
    bool found = false;
};
using KnownProducts = std::unordered_map<std::string, Known>;

std::string timeText(std::int64_t nanoseconds) {
    const std::time_t seconds = nanoseconds / 1'000'000'000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

KnownProducts readKnown(const kimg::FeatureTable& table, const std::string& catalogue) {
    KnownProducts known;
    kimg::FeatureQuery query;
    query.fields = {"file", "bytes", "modified_ns", "vanished", "checked"};
    query.outlines = false;
    table.forEach(query, [&](kimg::Feature&& feature) {
        const ordered_json row = batch::rowOf(feature, catalogue);
        known[row.value("file", "")] = {
            feature.id,
            row["bytes"].is_null() ? 0 : row["bytes"].get<std::int64_t>(),
            row["modifiedNs"].is_null() ? 0 : row["modifiedNs"].get<std::int64_t>(),
            row["vanished"] == true,
            row["checked"].is_null() ? "" : row["checked"].get<std::string>(),
            false};
    });
    return known;
}

/// @return the worst verdict of each product that `batch check` checked.
std::unordered_map<std::string, std::string> readChecks(const std::string& folder) {
    std::unordered_map<std::string, std::string> verdicts;
    if (folder.empty())
        return verdicts;
    const std::string file = (std::filesystem::path(folder) / "batch.jsonl").string();
    std::ifstream stream(file);
    if (!stream)
        throw loader::Error(file +
                            ": cannot be read; --checks takes a folder of rfsar batch check");
    for (std::string line; std::getline(stream, line);)
        if (batch::Row row; batch::readRow(line, row) && !row.verdict.empty())
            verdicts[row.file] = row.verdict;
    return verdicts;
}

class Catalogue {
public:
    explicit Catalogue(const CatalogueOptions& options)
        : options_(options), checks_(readChecks(options.checks)), table_(openTable()),
          known_(readKnown(table_, options.output)) {}

    void update() {
        product::ProductSearch search;
        search.known = [&](const std::string& file) { return known_.contains(file); };
        search.remark = [](const std::string& remark) { console::warning(remark); };
        for (const std::string& folder : options_.folders)
            if (!kfio::fileState(folder).exists)
                throw loader::Error(folder + ": no such folder");
        const auto found = product::findProducts(options_.folders, search);
        batch::RowsWork work;
        for (const product::FoundProduct& each : found)
            if (!keeps(each.file))
                work.products.push_back(each);
        add(work);
        const std::size_t vanished = markVanished();
        table_.commit();
        console::note(options_.output + ": " + std::to_string(opened_) + " opened (" +
                      std::to_string(damaged_) + " damaged), " + std::to_string(kept_) +
                      " unchanged, " + std::to_string(vanished) + " vanished");
    }

private:
    kimg::FeatureTable openTable() const {
        const std::string& file = options_.output;
        if (kfio::fileState(file).exists)
            return kimg::FeatureTable::open(file, batch::catalogueTable, batch::catalogueFields(),
                                            true);
        return kimg::FeatureTable::create(file, batch::catalogueTable, batch::catalogueFields(),
                                          batch::indexedFields());
    }

    std::string checkedNow(const std::string& file, const std::string& before) const {
        const auto verdict = checks_.find(file);
        return verdict == checks_.end() ? before : verdict->second;
    }

    /// @return whether the catalogue's row is still valid. Updates the fields that do not need the
    ///         product to be opened.
    bool keeps(const std::string& file) {
        const auto known = known_.find(file);
        if (known == known_.end())
            return false;
        Known& before = known->second;
        before.found = true;
        const kfio::FileState state = kfio::fileState(file);
        if (options_.force || static_cast<std::int64_t>(state.size) != before.bytes ||
            state.modifiedNs != before.modifiedNs)
            return false;
        ++kept_;
        const std::string checked = checkedNow(file, before.checked);
        if (before.vanished || checked != before.checked)
            change(before.id, [&](ordered_json& row) {
                row["vanished"] = false;
                row["checked"] = checked.empty() ? ordered_json(nullptr) : ordered_json(checked);
            });
        return true;
    }

    void change(std::int64_t id, const std::function<void(ordered_json&)>& edit) {
        kimg::FeatureQuery query;
        query.where = "fid = " + std::to_string(id);
        std::vector<kimg::Feature> changed;
        table_.forEach(query, [&](kimg::Feature&& feature) {
            ordered_json row = batch::rowOf(feature, options_.output);
            edit(row);
            changed.push_back(batch::featureOf(row));
        });
        for (kimg::Feature& feature : changed) {
            feature.id = id;
            table_.replace(feature);
        }
    }

    void add(batch::RowsWork& work) {
        batch::Progress progress("catalogue", work.products.size());
        std::vector<kfio::FileState> states;
        for (const product::FoundProduct& each : work.products)
            states.push_back(kfio::fileState(each.file)); // before it is read
        work.atOnce = options_.atOnce > 0 ? options_.atOnce : machineThreads();
        work.limits.timeoutS = options_.timeoutS;
        work.take = [&](std::size_t product, ordered_json&& row) {
            const std::string& file = work.products[product].file;
            const auto known = known_.find(file);
            const bool isKnown = known != known_.end();
            row["bytes"] = states[product].size;
            row["modified"] = timeText(states[product].modifiedNs);
            row["modifiedNs"] = states[product].modifiedNs;
            row["vanished"] = false;
            // A check of an earlier state says nothing about the changed product.
            if (const std::string checked = checkedNow(file, ""); !checked.empty())
                row["checked"] = checked;
            ++opened_;
            damaged_ += row.contains("error") ? 1 : 0;
            progress.advance(row.contains("error"));
            kimg::Feature feature = batch::featureOf(row);
            feature.id = isKnown ? known->second.id : -1;
            isKnown ? table_.replace(feature) : table_.add(feature);
        };
        batch::readRows(work);
    }

    /// Products of the catalogue that should be below the folders but were not found.
    std::size_t markVanished() {
        std::size_t count = 0;
        for (const std::string& folder : options_.folders) {
            const std::string path =
                kfnp::isVirtual(folder)
                    ? folder
                    : std::filesystem::absolute(folder).lexically_normal().string();
            for (auto& [file, before] : known_) {
                const bool below =
                    file == path ||
                    (file.starts_with(path) && (path.back() == '/' || file[path.size()] == '/'));
                if (!below || before.found || before.vanished)
                    continue;
                before.vanished = true;
                ++count;
                change(before.id, [](ordered_json& row) { row["vanished"] = true; });
            }
        }
        return count;
    }

    const CatalogueOptions& options_;
    std::unordered_map<std::string, std::string> checks_;
    kimg::FeatureTable table_;
    KnownProducts known_;
    std::size_t opened_ = 0, damaged_ = 0, kept_ = 0;
};

} // namespace

void addCatalogue(CLI::App& app) {
    auto* verb = app.add_subcommand(
        "catalogue", "write or update a GeoPackage of the products in folders; unchanged products "
                     "are not opened, vanished ones are marked");
    auto options = std::make_shared<CatalogueOptions>();
    verb->add_option("FOLDER", options->folders, "folders with products at any depth")->required();
    verb->add_option("-o,--output", options->output, "GeoPackage, such as catalogue.gpkg")
        ->required();
    verb->add_option(
        "--checks", options->checks,
        "folder with the results of rfsar batch check, for the verdict of the last check");
    verb->add_flag("--force", options->force, "open unchanged products too");
    verb->add_option("-j,--jobs", options->atOnce,
                     "products at once (default: as many as the machine has threads)")
        ->check(CLI::Range(1, 4096));
    verb->add_option("--timeout", options->timeoutS, "give up a product after so many seconds")
        ->check(positiveNumber());
    verb->footer("Examples:\n  rfsar catalogue /archive -o catalogue.gpkg\n"
                 "  rfsar find catalogue.gpkg --bbox 10,47,12,49 --time 2026-01/..");
    verb->callback([options] {
        loader::Plugin::instance(); // children find it open
        Catalogue(*options).update();
    });
}
