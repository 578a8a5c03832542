// SPDX-License-Identifier: MIT
#include "batch/product_row.h"
#include "batch/row_text.h"
#include "loader/plugin.h"
#include "output/console.h"
#include "output/ordered_work.h"
#include "verbs/archive_verbs.h"
#include "verbs/numbers.h"

#include <nlohmann/json.hpp>

namespace {

struct ListOptions {
    std::vector<std::string> entries;
    bool json = false, csv = false;
    std::size_t atOnce = 0;
    double timeoutS = 0;
};

int list(const ListOptions& options) {
    loader::Plugin::instance(); // children find it open
    product::ProductSearch search;
    search.remark = [](const std::string& remark) { console::warning(remark); };
    batch::RowsWork work;
    work.products = product::findProducts(options.entries, search);
    work.atOnce = options.atOnce > 0 ? options.atOnce : machineThreads();
    work.limits.timeoutS = options.timeoutS;
    batch::RowPrinter printer(options.json  ? batch::RowStyle::json
                              : options.csv ? batch::RowStyle::csv
                                            : batch::RowStyle::text);
    bool failed = false;
    work.take = [&](std::size_t product, const nlohmann::ordered_json& row) {
        printer.print(row);
        failed = failed || (row.contains("error") && work.products[product].named);
    };
    batch::readRows(work);
    printer.finish();
    return failed ? 1 : 0;
}

} // namespace

void addList(CLI::App& app, int& status) {
    auto* verb = app.add_subcommand(
        "list", "find the products in folders of any depth, zips included; a row each, with the "
                "reason for those that cannot be opened");
    auto options = std::make_shared<ListOptions>();
    verb->add_option("FOLDER", options->entries, "folders, or products")->required();
    auto* json = verb->add_flag("--json", options->json, "print JSON");
    verb->add_flag("--csv", options->csv, "print comma-separated values, footprints as WKT")
        ->excludes(json);
    verb->add_option("-j,--jobs", options->atOnce,
                     "products at once (default: as many as the machine has threads)")
        ->check(CLI::Range(1, 4096));
    verb->add_option("--timeout", options->timeoutS, "give up a product after so many seconds")
        ->check(positiveNumber());
    verb->footer("Examples:\n  rfsar list /archive\n  rfsar list /archive --csv > products.csv");
    verb->callback([&status, options] { status = list(*options); });
}
