// SPDX-License-Identifier: MIT
#include "batch/slurm.h"

#include "loader/plugin.h"
#include "output/console.h"
#include "output/output_file.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>

#include <sys/wait.h>
#include <unistd.h>

namespace batch {
namespace {

namespace fs = std::filesystem;

/// Quotes a word for the shell.
std::string quoted(const std::string& word) {
    std::string text = "'";
    for (const char c : word)
        text += c == '\'' ? "'\\''" : std::string(1, c);
    return text + "'";
}

/// Escapes percent signs, with which Slurm marks its replacements.
std::string escaped(std::string pattern) {
    for (std::size_t at = 0; (at = pattern.find('%', at)) != std::string::npos; at += 2)
        pattern.insert(at, 1, '%');
    return pattern;
}

/// @return how many tasks an array may have here.
std::size_t largestArray() {
    constexpr std::size_t usual = 1001; // unless the cluster sets another
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> answer(
        popen("scontrol show config 2>/dev/null", "r"), pclose);
    std::size_t largest = usual;
    char line[1024];
    while (answer && std::fgets(line, sizeof line, answer.get()))
        std::sscanf(line, "MaxArraySize = %zu", &largest);
    return std::max<std::size_t>(largest, 2) - 1; // tasks count from 1
}

void writeText(const fs::path& file, const std::string& text) {
    OutputFile output(file.string(), true);
    output.write(text.data(), text.size());
    output.commit();
}

/// Makes the first, the middle and the last of the missing results. @return the rest.
Work makeAFew(const Request& request, ResultFolder& folder, const Work& work) {
    Work few{work.products, {}}, rest{work.products, {}};
    const std::size_t count = work.missing.size();
    for (std::size_t i = 0; i < count; ++i)
        (i == 0 || i == count / 2 || i + 1 == count ? few : rest)
            .missing.push_back(work.missing[i]);
    makeResults(request, folder, few);
    return rest;
}

/// @return mean time of results like these, s.
double secondsEach(const Request& request, const ResultFolder& folder) {
    double sum = 0;
    std::size_t count = 0;
    for (const auto& [file, row] : folder.rows())
        if (row.recipe.verb == request.order.verb && row.seconds > 0) {
            sum += row.seconds;
            ++count;
        }
    return count > 0 ? sum / static_cast<double>(count) : 1;
}

/// The common part of the command that every task runs.
std::string command(const Request& request, const fs::path& folder, const fs::path& list,
                    bool withForce) {
    std::vector<std::string> words = {fs::read_symlink("/proc/self/exe"), "-q", "batch",
                                      request.order.verb};
    words.insert(words.end(), request.order.options.begin(), request.order.options.end());
    words.insert(words.end(),
                 {"--into", folder, "--list", list, "-j", std::to_string(request.atOnce)});
    if (request.limits.timeoutS > 0)
        words.insert(words.end(), {"--timeout", std::to_string(request.limits.timeoutS)});
    if (request.limits.memoryMiB > 0)
        words.insert(words.end(), {"--memory", std::to_string(request.limits.memoryMiB)});
    if (withForce)
        words.push_back("--force");
    std::string line = "exec";
    for (const std::string& word : words)
        line += ' ' + quoted(word);
    return line;
}

struct Plan {
    std::size_t products = 0, chunks = 0;
    fs::path folder, list;
};

/// @return an option of sbatch, nothing without a value.
std::string given(const char* name, const std::string& value) {
    return value.empty() ? "" : std::string(" --") + name + '=' + quoted(value);
}

std::string scriptOf(const Request& request, const SlurmOptions& options, const Plan& plan) {
    std::string common = " --parsable --job-name=rfsar-" + request.order.verb + " --ntasks=1" +
                         given("partition", options.partition) + given("time", options.time);
    for (const std::string& option : options.further)
        common += ' ' + quoted(option);
    const std::string task = common + given("mem", options.memory) +
                             " --cpus-per-task=" + std::to_string(request.atOnce);
    const std::string logs = escaped(plan.folder / ".batch/slurm-");
    const std::string chunks = std::to_string(plan.chunks);
    const std::string chunk = command(request, plan.folder, plan.list, request.force) +
                              " --chunk \"$SLURM_ARRAY_TASK_ID/" + chunks + '"';
    const std::string join = command(request, plan.folder, plan.list, false) + " --join";
    return "#!/bin/bash\n"
           "# Submits " +
           std::to_string(plan.products) + " products in " + chunks +
           " chunks, and a job that joins their rows at the end. Run it with: bash FILE\n"
           "set -e\n"
           "array=$(sbatch" +
           task + " --array=1-" + chunks + " --output=" + quoted(logs + "%A_%a.log") +
           " \\\n    --wrap=" + quoted(chunk) +
           ")\n"
           "array=${array%%;*}\n"
           "echo \"array job $array: " +
           chunks +
           " chunks\"\n"
           "join=$(sbatch" +
           common + " --dependency=afterany:$array --output=" + quoted(logs + "%j.log") +
           (options.wait ? " --wait" : "") + " \\\n    --wrap=" + quoted(join) +
           ")\n"
           "echo \"job ${join%%;*} joins the rows\"\n";
}

void runScript(const fs::path& script, bool waits) {
    const int status = std::system(("bash " + quoted(script)).c_str());
    const int exit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (exit == 127)
        throw loader::Error("sbatch: no such command here; --slurm-script FILE writes what would "
                            "be submitted");
    if (exit != 0 && !(waits && exit == 1))
        throw loader::Error("sbatch: the work was not submitted, or its last job was ended");
}

} // namespace

int submit(const Request& request, const SlurmOptions& options) {
    Plan plan;
    Work work;
    {
        ResultFolder folder(request.into, ResultFolder::Use::alone);
        work = planWork(request, folder);
        keepResults(folder, work, Keep::all);
        dropForeign(work, request);
        const Work rest = makeAFew(request, folder, work);
        folder.join();
        if (rest.missing.empty())
            return summarise(request, folder, work) ? 0 : 1;
        const double each = secondsEach(request, folder) / static_cast<double>(request.atOnce);
        const auto inChunk =
            static_cast<std::size_t>(std::max(1.0, std::round(options.chunkSeconds / each)));
        plan.products = rest.missing.size();
        plan.chunks = std::min((plan.products + inChunk - 1) / inChunk, largestArray());
        plan.folder = folder.path();
        plan.list = folder.workPath() /
                    (std::to_string(time(nullptr)) + '-' + std::to_string(getpid()) + ".list");
        std::string files;
        for (const Missing& missing : rest.missing)
            files += work.products[missing.product].file + '\n';
        fs::create_directories(folder.workPath());
        writeText(plan.list, files);
    }
    const std::string script = scriptOf(request, options, plan);
    if (!options.script.empty()) {
        OutputFile output(options.script, request.force);
        output.write(script.data(), script.size());
        output.commit();
        return 0;
    }
    const fs::path file = plan.folder / ".batch/submit.sh";
    writeText(file, script);
    runScript(file, options.wait);
    if (!options.wait)
        return 0;
    const ResultFolder folder(request.into, ResultFolder::Use::shared);
    return summarise(request, folder, work) ? 0 : 1;
}

} // namespace batch
