// SPDX-License-Identifier: MIT
#include "batch/run.h"
#include "batch/slurm.h"
#include "batch/verb_options.h"
#include "loader/plugin.h"
#include "output/ordered_work.h"
#include "verbs/archive_verbs.h"
#include "verbs/numbers.h"

#include <map>

namespace {

struct BatchOptions {
    batch::Request request;
    batch::SlurmOptions slurm;
    std::string chunk, extension;
    bool toSlurm = false, join = false, dryRun = false;
};

/// The verbs that a batch can run, and the extensions of their results.
const std::map<std::string, std::string>& extensions() {
    static const std::map<std::string, std::string> all = {
        {"check", ".json"},    {"export", ".tif"}, {"geocode", ".tif"}, {"info", ".json"},
        {"quicklook", ".png"}, {"rtc", ".tif"},    {"stac", ".json"}};
    return all;
}

batch::Chunk parseChunk(const std::string& text) {
    batch::Chunk chunk;
    char rest = 0;
    if (std::sscanf(text.c_str(), "%zu/%zu%c", &chunk.number, &chunk.count, &rest) != 2 ||
        chunk.number < 1 || chunk.number > chunk.count)
        throw CLI::ValidationError("--chunk", text + " is no i/n with i from 1 to n");
    return chunk;
}

int run(BatchOptions options) {
    batch::Request& request = options.request;
    if (request.entries.empty() && request.list.empty())
        throw CLI::RequiredError("products, folders or --list");
    if (!options.extension.empty())
        request.order.extension = '.' + options.extension.substr(options.extension.front() == '.');
    if (!options.chunk.empty())
        request.chunk = parseChunk(options.chunk);
    if (options.dryRun)
        return batch::printMissing(request);
    if (options.join)
        return batch::runJoin(request);
    // Loads the plug-in here, so that child processes find it loaded.
    loader::Plugin::instance();
    if (request.chunk)
        return batch::runChunk(request);
    if (options.toSlurm || !options.slurm.script.empty())
        return batch::submit(request, options.slurm);
    return batch::runAll(request);
}

void addWhere(CLI::App& verb, BatchOptions& options) {
    batch::Request& request = options.request;
    verb.add_option("PRODUCT", request.entries, "products, and folders with products at any depth");
    verb.add_option("--list", request.list, "file with further ones, one per line; - for stdin");
    verb.add_option("--into", request.into,
                    "folder for the results, <product id>.<extension>, and for batch.jsonl, with a "
                    "row for every product")
        ->required();
    verb.add_option("-j,--jobs", request.atOnce,
                    "products at once (default: as many as the machine has threads; with --slurm 1 "
                    "per task)")
        ->check(CLI::Range(1, 4096));
    verb.add_option("--timeout", request.limits.timeoutS, "end a product after so many seconds")
        ->check(positiveNumber());
    verb.add_option("--memory", request.limits.memoryMiB,
                    "end a product that takes more memory, in MiB")
        ->check(positiveNumber());
    verb.add_flag("--force", request.force, "make all results again");
    verb.add_option("--extension", options.extension,
                    "of the results, where the verb chooses the format by it, such as jpg");
    verb.add_flag("--dry-run", options.dryRun, "print the products that lack a result; make none");
}

void addEngines(CLI::App& verb, BatchOptions& options) {
    batch::SlurmOptions& slurm = options.slurm;
    verb.add_flag("--slurm", options.toSlurm,
                  "submit as an array job to Slurm; submit again to make what is missing")
        ->group("Slurm");
    verb.add_option("--chunk-seconds", slurm.chunkSeconds,
                    "time that a task of the array should take (default: 90)")
        ->check(positiveNumber())
        ->group("Slurm");
    verb.add_option("--partition", slurm.partition, "passed to sbatch")->group("Slurm");
    verb.add_option("--time", slurm.time, "passed to sbatch")->group("Slurm");
    verb.add_option("--mem", slurm.memory, "passed to sbatch")->group("Slurm");
    verb.add_option("--sbatch", slurm.further, "another option for sbatch: --sbatch=--qos=low")
        ->allow_extra_args(false)
        ->group("Slurm");
    verb.add_flag("--wait", slurm.wait, "wait until all is done")->group("Slurm");
    verb.add_option("--slurm-script", slurm.script,
                    "write the script that would submit; submit nothing")
        ->group("Slurm");
    verb.add_option("--chunk", options.chunk,
                    "i/n: run part i of n of the list, i from 1; run --join last")
        ->group("Other queues");
    verb.add_flag("--join", options.join, "join the rows of the finished parts")
        ->group("Other queues");
}

} // namespace

void addBatch(CLI::App& app, int& status, const AddVerbs& addVerbs,
              const batch::RunCommand& runCommand) {
    auto* verb = app.add_subcommand(
        "batch", "run a verb on many products; keep results that exist already, and go on when a "
                 "product fails");
    auto options = std::make_shared<BatchOptions>();
    addWhere(*verb, *options);
    addEngines(*verb, *options);
    verb->footer("Examples:\n"
                 "  rfsar batch quicklook /archive --into pictures -j 4\n"
                 "  rfsar find catalogue.gpkg --time 2026/.. --list | rfsar batch stac --list - "
                 "--into items");
    verb->require_subcommand(1);
    addVerbs(*verb, status);
    for (CLI::App* each : verb->get_subcommands([](CLI::App*) { return true; })) {
        const auto extension = extensions().find(each->get_name());
        bool printsResult = false;
        if (extension == extensions().end() || !batch::leaveOptionsOnly(*each, printsResult)) {
            verb->remove_subcommand(each);
            continue;
        }
        each->footer("Options of the batch itself: rfsar batch --help");
        each->callback([=, &status] {
            BatchOptions given = *options;
            if (verb->get_option("--jobs")->count() == 0)
                given.request.atOnce =
                    given.toSlurm || !given.slurm.script.empty() ? 1 : machineThreads();
            given.request.order = {each->get_name(), batch::givenOptions(*each), extension->second,
                                   printsResult, runCommand};
            status = run(std::move(given));
        });
    }
}
