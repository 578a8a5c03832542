// SPDX-License-Identifier: MIT
#include "batch/unit.h"

#include "batch/told.h"
#include "kimg/leftovers.h"
#include "output/output_file.h"
#include "product/families/stated_product.h"
#include "product/find_product.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <sstream>

#include <sys/mman.h>
#include <unistd.h>

namespace batch {
namespace {

using nlohmann::json;

constexpr std::array verdicts = {"ok", "warn", "fail"}; ///< from good to bad

void say(const json& report) {
    std::cout << report.dump(-1, ' ', false, json::error_handler_t::replace) << '\n' << std::flush;
}

/// @return the worst status among the checks of a document that `check --json` printed.
std::string worstVerdict(const std::string& text) {
    const json document = json::parse(text, nullptr, false);
    std::ptrdiff_t worst = 0;
    if (!document.is_object() || !document.contains("checks"))
        return "";
    for (const json& check : document["checks"])
        worst =
            std::max(worst, std::find(verdicts.begin(), verdicts.end(), check.value("status", "")) -
                                verdicts.begin());
    return verdicts.at(static_cast<std::size_t>(worst) % verdicts.size());
}

/// Runs a command and captures its stdout. @return the exit status.
int runAndKeep(const RunCommand& run, const std::vector<std::string>& arguments,
               std::string& printed) {
    const int kept = memfd_create("printed", MFD_CLOEXEC);
    const int before = dup(STDOUT_FILENO);
    if (kept < 0 || before < 0)
        throw loader::Error("no memory for what the command prints");
    dup2(kept, STDOUT_FILENO);
    const int status = run(arguments);
    std::cout.flush();
    std::fflush(stdout);
    dup2(before, STDOUT_FILENO);
    printed.resize(static_cast<std::size_t>(lseek(kept, 0, SEEK_END)));
    lseek(kept, 0, SEEK_SET);
    for (std::size_t at = 0; at < printed.size();) {
        const ssize_t got = read(kept, printed.data() + at, printed.size() - at);
        if (got <= 0)
            throw loader::Error("what the command printed cannot be read");
        at += static_cast<std::size_t>(got);
    }
    close(kept);
    close(before);
    return status;
}

} // namespace

Report readReport(const std::string& text) {
    Report report;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        const json part = json::parse(line, nullptr, false);
        if (!part.is_object())
            continue;
        const auto take = [&](const char* key, std::string& to) {
            if (std::string told = memberText(part, key); !told.empty())
                to = std::move(told);
        };
        take("output", report.output);
        take("remark", report.remark);
        take("verdict", report.verdict);
    }
    return report;
}

int runUnit(const Order& order, const ResultFolder& folder, const product::FoundProduct& entry) {
    kimg::leaveLeftovers();
    if (!entry.named && product::isForeign(entry.file))
        return foreign;
    const std::string file = product::findProduct(entry.file);
    const std::string id = fileNameOf(product::readStatedProduct(file)->facts().id);
    const std::string name = folder.claim(id, order.extension, entry.file);
    json report = {{"output", name}};
    if (name != id + order.extension)
        report["remark"] = "another product has the id " + id + " too";
    say(report);

    const std::string output = folder.path() / name;
    std::vector<std::string> arguments = {order.verb};
    arguments.insert(arguments.end(), order.options.begin(), order.options.end());
    if (!order.printsResult) {
        arguments.insert(arguments.end(), {"--force", "-o", output, "--", file});
        return order.run(arguments);
    }
    arguments.insert(arguments.end(), {"--json", "--", file});
    std::string printed;
    const int status = runAndKeep(order.run, arguments, printed);
    if (printed.empty())
        return status == 0 ? 1 : status;
    OutputFile result(output, true);
    result.write(printed.data(), printed.size());
    result.commit();
    const std::string verdict = order.verb == "check" ? worstVerdict(printed) : "";
    if (!verdict.empty())
        say({{"verdict", verdict}});
    return verdict.empty() ? status : 0;
}

} // namespace batch
