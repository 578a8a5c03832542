// SPDX-License-Identifier: MIT
#include "loader/product.h"
#include "output/console.h"
#include "output/output_file.h"
#include "output/stac_item.h"
#include "product/find_product.h"
#include "verbs/kept_options.h"
#include "verbs/verbs.h"

#include <nlohmann/json.hpp>

namespace {

struct StacOptions {
    std::string file;
    std::string output = "-";
    bool force = false;
};

void writeStac(const StacOptions& options) {
    refuseOverwriting(options.output, options.force);
    const std::string file = product::findProduct(options.file);
    std::vector<std::string> warnings;
    const auto item = stacItem(file, options.output, warnings);
    for (const std::string& warning : warnings)
        console::warning(warning);
    OutputFile output(options.output, options.force);
    const std::string text =
        item.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
    output.write(text.data(), text.size());
    output.commit();
}

} // namespace

void addStac(CLI::App& app) {
    auto* verb = app.add_subcommand("stac", "describe a product as a STAC 1.0 item");
    verb->footer("Examples:\n"
                 "  rfsar stac product.xml\n"
                 "  rfsar stac product.zip -o item.json");
    auto options = keptOptions<StacOptions>(*verb);
    verb->add_option("FILE", options->file, "product")->required();
    verb->add_option("-o,--output", options->output,
                     "JSON file to write (default: stdout); paths of assets are relative to this "
                     "file, on stdout to the product file");
    verb->add_flag("--force", options->force, "replace an existing file");
    verb->callback([options] { writeStac(*options); });
}
