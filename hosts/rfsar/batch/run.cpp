// SPDX-License-Identifier: MIT
#include "batch/run.h"

#include "batch/progress.h"
#include "batch/told.h"
#include "kfio/kfio.h"
#include "kimg/new_file.h"
#include "loader/plugin.h"
#include "output/console.h"
#include "output/interruption.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iostream>
#include <sstream>

namespace batch {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> linesOf(std::istream& stream) {
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (!line.empty())
            lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> entriesOf(const Request& request) {
    std::vector<std::string> entries = request.entries;
    if (request.list.empty())
        return entries;
    std::ifstream file;
    if (request.list != "-") {
        file.open(request.list);
        if (!file)
            throw loader::Error(request.list + ": cannot be read");
    }
    const auto listed = linesOf(request.list == "-" ? std::cin : file);
    entries.insert(entries.end(), listed.begin(), listed.end());
    return entries;
}

std::string joined(const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words)
        line += (line.empty() ? "" : " ") + word;
    return line;
}

Recipe recipeNow(const Order& order, const kfio::FileState& product) {
    return {order.verb, joined(order.options), RF_SAR_VERSION, product.size, product.modifiedNs};
}

/// @return why a result must be made; nullopt when it is up to date; "" when there was never one.
std::optional<std::string> whyMissing(const Request& request, const ResultFolder& folder,
                                      const std::string& file, const Recipe& now) {
    const auto found = folder.rows().find(file);
    if (found == folder.rows().end() || found->second.output.empty() ||
        found->second.status == "failed")
        return "";
    const Row& row = found->second;
    if (request.force)
        return "made anew: --force";
    const kfio::FileState result = kfio::fileState((folder.path() / row.output).string());
    if (!result.exists)
        return "made anew: the result was gone";
    if (now.productTime > row.recipe.productTime)
        return "made anew: the product is newer";
    if (now.productTime != row.recipe.productTime || now.productBytes != row.recipe.productBytes)
        return "made anew: the product is another one";
    if (now.options != row.recipe.options)
        return "made anew: other options before (" +
               (row.recipe.options.empty() ? "none" : row.recipe.options) + ")";
    if (now.version != row.recipe.version)
        return "made anew: made by version " + row.recipe.version + " before";
    if (result.size != row.outputBytes)
        return "made anew: the result was changed";
    return std::nullopt;
}

void requireSameVerb(const Request& request, const ResultFolder& folder) {
    for (const auto& [file, row] : folder.rows())
        if (!row.recipe.verb.empty() && row.recipe.verb != request.order.verb)
            throw loader::Error(folder.path().string() + ": holds results of batch " +
                                row.recipe.verb + "; give each verb a folder of its own");
}

/// A result of an earlier run stays, and stays this product's.
Row failedRow(const Request& request, const ResultFolder& folder, const std::string& file,
              const std::string& reason) {
    Row row;
    if (const auto before = folder.rows().find(file); before != folder.rows().end())
        row = before->second;
    row.file = file;
    row.status = "failed";
    row.reason = reason;
    row.seconds = 0;
    row.peakMemoryMiB = 0;
    row.verdict.clear();
    row.warnings.clear();
    row.recipe.verb = request.order.verb;
    return row;
}

/// @return the row of a product whose child has ended.
Row rowOf(const Request& request, const ResultFolder& folder, const std::string& file,
          const Missing& missing, const ChildOutcome& outcome) {
    const Report report = readReport(outcome.out);
    Told told = readTold(outcome.err);
    const kfio::FileState result = kfio::fileState((folder.path() / report.output).string());
    Row row;
    if (outcome.end == ChildOutcome::End::exited && outcome.status == 0 && !report.output.empty() &&
        result.isRegularFile) {
        row.file = file;
        row.status = "done";
        row.output = report.output;
        row.reason = missing.reason;
        if (!report.remark.empty())
            row.reason += (row.reason.empty() ? "" : "; ") + report.remark;
        row.verdict = report.verdict;
        row.recipe = missing.recipe;
        row.outputBytes = result.size;
    } else {
        std::string reason = describe(outcome, request.limits);
        if (reason.empty())
            reason = told.failure.empty() ? "the command failed without a word" : told.failure;
        row = failedRow(request, folder, file, reason);
    }
    row.seconds = std::round(outcome.seconds * 1e4) / 1e4;
    row.peakMemoryMiB = outcome.peakMemoryMiB;
    row.warnings = std::move(told.warnings);
    return row;
}

/// Removes the leftovers of a child that was ended.
void removePartsOf(const ResultFolder& folder, const ChildOutcome& outcome) {
    const std::string output = readReport(outcome.out).output;
    if (outcome.end == ChildOutcome::End::exited || output.empty())
        return;
    const std::string part = kimg::partNameStart(output) + std::to_string(outcome.process) + '-';
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(folder.path(), ignored))
        if (entry.path().filename().string().starts_with(part))
            fs::remove(entry.path(), ignored);
}

} // namespace

Work planWork(const Request& request, const ResultFolder& folder) {
    requireSameVerb(request, folder);
    product::ProductSearch search;
    search.known = [&](const std::string& file) { return folder.rows().contains(file); };
    search.remark = [](const std::string& remark) { console::warning(remark); };
    Work work;
    work.products = product::findProducts(entriesOf(request), search);
    if (request.chunk) {
        const auto [number, count] = *request.chunk;
        const std::size_t all = work.products.size();
        const auto at = [&, count = count](std::size_t part) {
            return work.products.begin() + static_cast<std::ptrdiff_t>(all * part / count);
        };
        work.products = std::vector(at(number - 1), at(number));
    }
    for (std::size_t i = 0; i < work.products.size(); ++i) {
        const std::string& file = work.products[i].file;
        Recipe now = recipeNow(request.order, kfio::fileState(file));
        if (const auto why = whyMissing(request, folder, file, now))
            work.missing.push_back({i, *why, std::move(now)});
    }
    return work;
}

void dropForeign(Work& work, const Request& request) {
    std::vector<std::size_t> unsure; // among those missing
    for (std::size_t i = 0; i < work.missing.size(); ++i)
        if (const auto& entry = work.products[work.missing[i].product];
            !entry.named && !entry.file.ends_with(".xml"))
            unsure.push_back(i);
    std::vector<bool> drop(work.missing.size());
    ChildWork look;
    look.items = unsure.size();
    look.atOnce = request.atOnce;
    look.limits = request.limits;
    look.run = [&](std::size_t item) {
        const Missing& each = work.missing[unsure[item]];
        return product::isForeign(work.products[each.product].file) ? foreign : 0;
    };
    look.ended = [&](std::size_t item, const ChildOutcome& outcome) {
        drop[unsure[item]] = outcome.end == ChildOutcome::End::exited && outcome.status == foreign;
    };
    runInChildren(look);
    std::size_t i = 0;
    std::erase_if(work.missing, [&](const Missing&) { return drop[i++]; });
}

void makeResults(const Request& request, ResultFolder& folder, const Work& work) {
    constexpr std::size_t toldFailures = 10;
    Progress progress(request.order.verb, work.missing.size());
    ChildWork making;
    making.items = work.missing.size();
    making.atOnce = request.atOnce;
    making.limits = request.limits;
    making.run = [&](std::size_t item) {
        return runUnit(request.order, folder, work.products[work.missing[item].product]);
    };
    making.ended = [&](std::size_t item, const ChildOutcome& outcome) {
        const Missing& missing = work.missing[item];
        const product::FoundProduct& entry = work.products[missing.product];
        removePartsOf(folder, outcome);
        if (outcome.end == ChildOutcome::End::exited && outcome.status == foreign && !entry.named) {
            progress.passOver();
            return;
        }
        Row row = rowOf(request, folder, entry.file, missing, outcome);
        const bool failed = row.status == "failed";
        if (failed && progress.failures() < toldFailures)
            progress.tell(row.reason.find(entry.file) == std::string::npos
                              ? entry.file + ": " + row.reason
                              : row.reason);
        folder.add(std::move(row));
        progress.advance(failed);
    };
    runInChildren(making);
}

void keepResults(ResultFolder& folder, const Work& work, Keep which) {
    std::size_t nextMissing = 0;
    for (std::size_t i = 0; i < work.products.size(); ++i) {
        if (nextMissing < work.missing.size() && work.missing[nextMissing].product == i)
            ++nextMissing;
        else if (which == Keep::all || folder.isJoined(work.products[i].file))
            folder.keep(work.products[i].file);
    }
}

bool summarise(const Request& request, const ResultFolder& folder, const Work& work) {
    std::size_t done = 0, kept = 0, failed = 0;
    for (const product::FoundProduct& entry : work.products) {
        const auto row = folder.rows().find(entry.file);
        if (row == folder.rows().end())
            continue;
        const std::string& status = row->second.status;
        ++(status == "done" ? done : status == "kept" ? kept : failed);
    }
    console::note(request.order.verb + ": " + std::to_string(done) + " done, " +
                  std::to_string(kept) + " kept, " + std::to_string(failed) + " failed; see " +
                  folder.rowsPath().string());
    return failed == 0;
}

int runAll(const Request& request) {
    ResultFolder folder(request.into, ResultFolder::Use::alone);
    const Work work = planWork(request, folder);
    keepResults(folder, work, Keep::all);
    try {
        makeResults(request, folder, work);
    } catch (const interruption::Interrupted&) {
        folder.join();
        throw;
    }
    folder.join();
    return summarise(request, folder, work) ? 0 : 1;
}

int runChunk(const Request& request) {
    ResultFolder folder(request.into, ResultFolder::Use::shared);
    const Work work = planWork(request, folder);
    keepResults(folder, work, Keep::all);
    makeResults(request, folder, work);
    return summarise(request, folder, work) ? 0 : 1;
}

int runJoin(const Request& request) {
    ResultFolder folder(request.into, ResultFolder::Use::afterOthers);
    const Work work = planWork(request, folder);
    keepResults(folder, work, Keep::joined);
    for (const Missing& missing : work.missing) {
        const std::string& file = work.products[missing.product].file;
        if (const auto row = folder.rows().find(file);
            row == folder.rows().end() || row->second.status != "failed")
            folder.add(failedRow(request, folder, file,
                                 "not reached before the work ended; run it again"));
    }
    folder.join(request.list);
    return summarise(request, folder, work) ? 0 : 1;
}

int printMissing(const Request& request) {
    ResultFolder folder(request.into, ResultFolder::Use::shared);
    Work work = planWork(request, folder);
    dropForeign(work, request);
    for (const Missing& missing : work.missing)
        std::cout << work.products[missing.product].file << '\n';
    return 0;
}

} // namespace batch
