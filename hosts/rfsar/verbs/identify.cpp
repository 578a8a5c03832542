// SPDX-License-Identifier: MIT
#include "loader/plugin.h"
#include "output/console.h"
#include "product/find_product.h"
#include "verbs/verbs.h"

#include <nlohmann/json.hpp>

#include <ostream>

namespace {

/// @return the format's row; -1 with the reason for a file that is no product.
int identifyEntry(const loader::Plugin& plugin, const std::string& entry, std::string& reason) {
    try {
        const std::string file = product::findProduct(entry);
        const int index = loader::identify(plugin, file, reason);
        reason = file + ": " + reason;
        return index;
    } catch (const std::exception& error) {
        reason = error.what();
        return -1;
    }
}

int identifyAll(const std::vector<std::string>& entries, bool asJson) {
    const auto& plugin = loader::Plugin::instance();
    auto document = nlohmann::ordered_json::array();
    int status = 0;
    for (const std::string& entry : entries) {
        std::string reason;
        const int index = identifyEntry(plugin, entry, reason);
        if (index < 0) {
            status = 1;
            console::error(reason);
            document.push_back({{"file", entry}, {"index", -1}});
            continue;
        }
        const std::string& title = plugin.formats()[static_cast<std::size_t>(index)].title;
        document.push_back({{"file", entry}, {"index", index}, {"title", title}});
        if (!asJson)
            console::out() << entry << ": " << title << '\n';
    }
    if (asJson)
        console::printJson(document);
    return status;
}

} // namespace

void addIdentify(CLI::App& app, int& status) {
    auto* verb = app.add_subcommand(
        "identify", "tell the format of each file; exit status 1 when a file is no product");
    auto files = std::make_shared<std::vector<std::string>>();
    verb->footer("Examples:\n"
                 "  rfsar identify product.xml\n"
                 "  rfsar identify --json product.zip");
    verb->add_option("FILE", *files, "products")->required();
    auto* json = verb->add_flag("--json")->description("print JSON");
    verb->callback([&status, files, json] { status = identifyAll(*files, json->count() > 0); });
}
