// SPDX-License-Identifier: MIT
#include "verbs/application.h"

#include "loader/plugin.h"
#include "output/interruption.h"
#include "verbs/archive_verbs.h"
#include "verbs/help_text.h"
#include "verbs/verbs.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <numeric>
#include <sstream>
#include <string_view>
#include <utility>

namespace application {
namespace {

constexpr int done = 0;
constexpr int failed = 1;
constexpr int usage = 2;

constexpr char description[] =
    "Opens RADARSAT-2, RADARSAT Constellation and Capella products.\n"
    "FILE is a product folder, product.xml, manifest.safe, a Capella item or its extended JSON,\n"
    "a .zip as downloaded, or a virtual path (/vsizip/, /vsicurl/, ...).";

void addVerbs(CLI::App& app, int& status) {
    addFormats(app);
    addDoctor(app, status);
    addIdentify(app, status);
    addInfo(app, status);
    addNode(app);
    addRead(app);
    addExport(app);
    addGeocode(app);
    addRtc(app);
    addQuicklook(app);
    addLocate(app);
    addCheck(app, status);
    addStac(app);
}

int parse(std::vector<std::string> arguments);

/// The command line, and the status of the verb that ran.
class CommandLine {
public:
    CommandLine() : app(description, "rfsar") {
        app.formatter(std::make_shared<HelpText>());
        app.set_version_flag("--version", std::string("rfsar ") + RF_SAR_VERSION);
        app.require_subcommand(1);
        app.fallthrough();
        app.add_flag("-q,--quiet", quiet_, "no progress and no warnings");
        app.parse_complete_callback([this] { console::setQuiet(quiet_); });
        addVerbs(app, status);
        addList(app, status);
        addBatch(app, status, addVerbs, parse);
        addCatalogue(app);
        addFind(app);
    }

    /// @param arguments  without the program's name.
    void parseAll(std::vector<std::string> arguments) {
        std::reverse(arguments.begin(), arguments.end()); // as CLI11 takes them
        app.parse(std::move(arguments));
    }

    CLI::App app;
    int status = done;

private:
    bool quiet_ = false;
};

/// @return the edit distance: letters to insert, remove or replace to turn one text into the other.
std::size_t distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

/// @return a message if the first word is no verb; "" for other mistakes.
std::string unknownVerb(const CLI::App& app, const std::vector<std::string>& arguments) {
    const auto word = std::find_if(arguments.begin(), arguments.end(),
                                   [](const std::string& text) { return !text.starts_with('-'); });
    if (word == arguments.end() || !app.get_subcommands().empty())
        return "";
    constexpr std::size_t slip = 2; // letters
    std::string nearest;
    std::size_t least = slip + 1;
    for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; }))
        if (const std::size_t off = distance(*word, verb->get_name());
            off < std::min(least, word->size())) {
            least = off;
            nearest = verb->get_name();
        }
    return '"' + *word + "\" is no verb" +
           (nearest.empty() ? "" : "; did you mean " + nearest + "?") +
           (nearest.empty() ? "; rfsar --help lists them" : "");
}

int parse(std::vector<std::string> arguments) {
    CommandLine line;
    try {
        line.parseAll(arguments);
        return line.status;
    } catch (const CLI::RequiredError& error) {
        const std::string unknown = unknownVerb(line.app, arguments);
        if (unknown.empty())
            return line.app.exit(error) == 0 ? done : usage;
        console::error(unknown);
        return usage;
    } catch (const CLI::ParseError& error) {
        return line.app.exit(error) == 0 ? done : usage;
    }
}

/// A full disk or a closed pipe may show only at the last byte.
void flush() {
    errno = 0;
    if (!std::cout.flush())
        throw loader::Error(std::string("standard output: cannot be written: ") +
                            (errno == 0 ? "it is closed" : std::strerror(errno)));
}

} // namespace

int run(int argc, char** argv) {
    try {
        const int status = parse({argv + 1, argv + argc});
        flush();
        return status;
    } catch (const interruption::Interrupted& interrupted) {
        interruption::endBy(interrupted.signal);
    } catch (const std::exception& error) {
        console::error(error.what());
        return failed;
    }
}

std::string runInside(const std::vector<std::string>& arguments,
                      const console::Listener& listener) {
    std::ostringstream printed;
    const console::Listening listening(listener, printed);
    const interruption::LeftAlone leftAlone;
    CommandLine line;
    try {
        line.parseAll(arguments);
    } catch (const CLI::Success& help) {
        line.app.exit(help, printed, printed);
    } catch (const CLI::ParseError& error) {
        throw loader::Error(error.what());
    }
    return printed.str();
}

} // namespace application
