#include "loader/plugin.h"
#include "output/console.h"
#include "output/interruption.h"
#include "verbs/archive_verbs.h"
#include "verbs/verbs.h"

#include "kerr/kerr.h"

#include <algorithm>

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
    addInfo(app);
    addNode(app);
    addRead(app);
    addExport(app);
    addGeocode(app);
    addQuicklook(app);
    addLocate(app);
    addCheck(app, status);
    addStac(app);
}

/// @param arguments  without the program's name
int run(std::vector<std::string> arguments) {
    CLI::App app(description, "rfsar");
    app.set_version_flag("--version", std::string("rfsar ") + RF_SAR_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    bool quiet = false;
    app.add_flag("-q,--quiet", quiet, "no progress and no warnings");
    app.parse_complete_callback([&] { console::setQuiet(quiet); });

    int status = done;
    addVerbs(app, status);
    addList(app, status);
    addBatch(app, status, addVerbs, run);
    addCatalogue(app);
    addFind(app);
    try {
        std::reverse(arguments.begin(), arguments.end()); // as CLI11 takes them
        app.parse(std::move(arguments));
        return status;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? done : usage;
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run({argv + 1, argv + argc});
    } catch (const interruption::Interrupted& interrupted) {
        interruption::endBy(interrupted.signal);
    } catch (const std::exception& error) {
        console::error(error.what());
        return failed;
    }
}
