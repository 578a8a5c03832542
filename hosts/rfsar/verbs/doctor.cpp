// SPDX-License-Identifier: MIT
#include "kimg/installed_drivers.h"
#include "kprj/heights.h"
#include "loader/heard.h"
#include "loader/loaded_library.h"
#include "loader/plugin.h"
#include "output/console.h"
#include "verbs/verbs.h"

#include <nlohmann/json.hpp>

#include <iomanip>
#include <ostream>

namespace {

using nlohmann::ordered_json;

constexpr char driver[] = "RF_SAR";

/// The beginning of a `product.xml`, by which a driver identifies it.
struct Sample {
    const char* family;
    const char* content;
};
constexpr Sample samples[] = {
    {"RADARSAT-2", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                   "<product xmlns=\"http://www.rsi.ca/rs2/prod/xml/schemas\" copyright=\"\">\n"
                   "<productId></productId>\n</product>\n"},
    {"RADARSAT Constellation", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                               "<product xmlns=\"rcmGsProductSchema\" copyright=\"\">\n"
                               "<productId></productId>\n</product>\n"},
};

/// The geoids that --dem-heights knows by name, and why PROJ cannot use them.
ordered_json geoids() {
    ordered_json list = ordered_json::array();
    for (const KprjGeoid& geoid : kprj_Geoids()) {
        kerr::Slot slot;
        const bool found = KprjHeightZero::create(geoid.system, slot) != nullptr;
        list.push_back({{"name", geoid.name},
                        {"option", geoid.option},
                        {"fault", found ? "" : loader::Heard::text(*slot.get())}});
    }
    return list;
}

ordered_json diagnose() {
    const auto& plugin = loader::Plugin::instance();
    const std::string pluginFile = loader::loadedLibrary("rf_sar.so");
    const std::string fault = kimg::registerInstalledDrivers();
    const bool found = kimg::hasDriver(driver);
    ordered_json choice;
    for (const Sample& sample : samples)
        choice[sample.family] = kimg::driversThatTake("product.xml", sample.content);
    return {{"version", RF_SAR_VERSION},
            {"plugin", pluginFile.empty() ? plugin.path() : pluginFile},
            {"formats", plugin.formats().size()},
            {"platform", loader::loadedLibrary("librf_platform.so")},
            {"gdalVersion", kimg::gdalVersion()},
            {"driver",
             found ? ordered_json(loader::loadedLibrary("gdal_RF_SAR.so")) : ordered_json(nullptr)},
            {"driverFault", fault},
            {"geoids", geoids()},
            {"productXml", choice}};
}

/// @param found  whether GDAL finds the driver; without it there is nothing to choose.
void printChoice(const ordered_json& choice, bool found) {
    std::string rivals;
    for (const auto& [family, drivers] : choice.items()) {
        console::out() << "product.xml  " << family << ": ";
        const auto names = drivers.get<std::vector<std::string>>();
        for (std::size_t i = 0; i < names.size(); ++i) {
            console::out() << (i == 0   ? "opened by "
                               : i == 1 ? "; then asked: "
                                        : ", ")
                           << names[i];
            if (names[i] != driver)
                rivals += (rivals.empty() ? "" : " ") + names[i];
        }
        console::out() << (names.empty() ? "opened by no driver\n" : "\n");
    }
    if (rivals.empty() || !found)
        return;
    console::out() << "\nTo choose " << driver << " wherever " << rivals << " takes the file too:\n"
                   << "  gdalinfo -if " << driver << " product.xml   for one command\n"
                   << "  RF_SAR:product.xml                as a name, wherever a file is named\n"
                   << "  GDAL_SKIP=\"" << rivals
                   << "\"                   in the environment, for all\n"
                   << "GDAL_SKIP=\"" << driver << "\" leaves " << driver << " out instead.\n";
}

void printText(const ordered_json& found) {
    const auto text = [&](const char* key) { return found[key].get<std::string>(); };
    console::out() << "rfsar        " << text("version") << '\n'
                   << "plug-in      " << text("plugin") << " (" << found["formats"] << " formats)\n"
                   << "platform     " << text("platform") << '\n'
                   << "GDAL         " << text("gdalVersion") << '\n'
                   << "GDAL driver  " << (found["driver"].is_null() ? "not found" : text("driver"))
                   << '\n';
    for (const auto& geoid : found["geoids"]) {
        const auto fault = geoid["fault"].get<std::string>();
        console::out() << "geoid " << std::left << std::setw(8) << geoid["name"].get<std::string>()
                       << (fault.empty() ? "at hand" : "missing: " + fault) << '\n';
    }
    printChoice(found["productXml"], !found["driver"].is_null());
}

int doctor(bool asJson) {
    const ordered_json found = diagnose();
    if (asJson)
        console::printJson(found);
    else
        printText(found);
    if (const auto fault = found["driverFault"].get<std::string>(); !fault.empty())
        console::warning(fault);
    if (!found["driver"].is_null())
        return 0;
    console::error("GDAL does not find the driver: let GDAL_DRIVER_PATH name the folder of "
                   "gdal_RF_SAR.so, or install it into GDAL's own plug-in folder");
    return 1;
}

} // namespace

void addDoctor(CLI::App& app, int& status) {
    auto* verb = app.add_subcommand(
        "doctor", "tell what is installed and which driver GDAL uses; exit status 1 when GDAL "
                  "does not find the driver");
    auto* json = verb->add_flag("--json")->description("print JSON");
    verb->footer("Examples:\n  rfsar doctor\n  rfsar doctor --json");
    verb->callback([&status, json] { status = doctor(json->count() > 0); });
}
