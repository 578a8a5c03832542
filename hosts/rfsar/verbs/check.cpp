// SPDX-License-Identifier: MIT
#include "output/console.h"
#include "output/interruption.h"
#include "product/checks/checks.h"
#include "verbs/kept_options.h"
#include "verbs/verbs.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iomanip>
#include <ostream>

namespace {

using nlohmann::ordered_json;

const char* word(product::Verdict verdict) {
    switch (verdict) {
    case product::Verdict::ok:
        return "ok";
    case product::Verdict::warn:
        return "warn";
    case product::Verdict::fail:
        break;
    }
    return "fail";
}

void printText(const std::vector<product::Finding>& findings) {
    for (const product::Finding& each : findings)
        console::out() << std::left << std::setw(6) << word(each.verdict) << std::setw(13)
                       << each.check << each.sentence << '\n';
}

void printDocument(const std::string& file, const std::vector<product::Finding>& findings) {
    auto list = ordered_json::array();
    for (const product::Finding& each : findings)
        list.push_back(
            {{"check", each.check}, {"status", word(each.verdict)}, {"message", each.sentence}});
    console::printJson({{"file", file}, {"checks", list}});
}

std::vector<product::Finding> readAll(const product::OpenedProduct& opened) {
    constexpr std::uint64_t steps = 1000;
    console::Progress progress("reading " + opened.name(), steps);
    return product::readImages(opened, [&](std::uint64_t done, std::uint64_t total) {
        interruption::check();
        progress.advanceTo(total == 0 ? steps : done * steps / total);
    });
}

} // namespace

void addCheck(CLI::App& app, int& status) {
    auto* verb =
        app.add_subcommand("check", "check a product for errors and contradictions; exit status 1 "
                                    "when a check fails");
    verb->footer("Examples:\n"
                 "  rfsar check product.xml\n"
                 "  rfsar check product.zip --read --json");
    auto file = keptOptions<std::string>(*verb);
    verb->add_option("FILE", *file, "product")->required();
    auto* read = verb->add_flag("--read")->description("read every sample of every image too");
    auto* json = verb->add_flag("--json")->description("print JSON");
    verb->callback([&status, file, read, json] {
        const auto opened = product::openProduct(*file);
        auto findings = product::runChecks(*opened);
        if (read->count() > 0)
            for (product::Finding& found : readAll(*opened))
                findings.push_back(std::move(found));
        if (json->count() > 0)
            printDocument(opened->name(), findings);
        else
            printText(findings);
        status = std::any_of(findings.begin(), findings.end(), [](const product::Finding& each) {
            return each.verdict == product::Verdict::fail;
        });
    });
}
