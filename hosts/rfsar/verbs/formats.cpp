// SPDX-License-Identifier: MIT
#include "loader/plugin.h"
#include "output/console.h"
#include "verbs/verbs.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace {

void printFormats(bool asJson) {
    const auto& formats = loader::Plugin::instance().formats();
    auto document = nlohmann::ordered_json::array();
    if (!asJson)
        std::printf("%-5s  %-30s  %-9s  %s\n", "index", "title", "extension", "file names");
    for (std::size_t i = 0; i < formats.size(); ++i) {
        const auto& format = formats[i];
        if (!asJson)
            std::printf("%-5zu  %-30s  %-9s  %s\n", i, format.title.c_str(),
                        format.extension.c_str(), format.fileTemplate.c_str());
        document.push_back({{"index", i},
                            {"title", format.title},
                            {"shortName", format.shortName},
                            {"extension", format.extension},
                            {"magic", format.magic},
                            {"template", format.fileTemplate}});
    }
    if (asJson)
        console::printJson(document);
}

} // namespace

void addFormats(CLI::App& app) {
    auto* verb = app.add_subcommand("formats", "list the product formats that can be opened");
    auto* json = verb->add_flag("--json")->description("print JSON");
    verb->footer("Examples:\n  rfsar formats\n  rfsar formats --json");
    verb->callback([json] { printFormats(json->count() > 0); });
}
