// SPDX-License-Identifier: MIT
#include "loader/plugin.h"

#include "kfnp/kfnp.h"
#include "kstr/kstr.h"
#include "loader/heard.h"
#include "loader/host_texts.h"
#include "loader/loaded_library.h"

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>

namespace loader {
namespace {

namespace fs = std::filesystem;

constexpr char fileName[] = "rf_sar.so";

/// The plug-in is beside the platform library, which it shares with its host and which the linker
/// has already found.
std::vector<std::string> candidates() {
    if (const char* named = std::getenv("RF_SAR_PLUGIN"))
        return {named};
    std::vector<std::string> names;
    const fs::path beside = fs::path(loadedLibrary("librf_platform.so")).replace_filename(fileName);
    if (std::error_code ignored; fs::exists(beside, ignored))
        names.push_back(beside);
    names.push_back(fileName); // where the dynamic linker looks
    return names;
}

std::string findPlugin() {
    std::string tried;
    for (const std::string& name : candidates()) {
        if (dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL))
            return name;
        tried += std::string("\n  ") + dlerror();
    }
    throw Error("the plug-in rf_sar.so cannot be loaded:" + tried);
}

template <class Function>
void lookUp(void* library, const char* symbol, Function& function) {
    void* found = dlsym(library, symbol);
    if (!found)
        throw Error(std::string("the plug-in has no entry point ") + symbol);
    function = reinterpret_cast<Function>(found);
}

EntryPoints lookUpAll(void* library) {
    EntryPoints entry{};
    lookUp(library, "rf_sarInstanceTitleListGet", entry.titleListGet);
    lookUp(library, "rf_sarInstanceShortNameListGet", entry.shortNameListGet);
    lookUp(library, "rf_sarInstanceExtListGet", entry.extListGet);
    lookUp(library, "rf_sarInstanceMagicListGet", entry.magicListGet);
    lookUp(library, "rf_sarInstanceTemplateListGet", entry.templateListGet);
    lookUp(library, "rf_sarInstancePixelTypesGet", entry.pixelTypesGet);
    lookUp(library, "rf_sarFileTitleIdentify", entry.titleIdentify);
    lookUp(library, "rf_sarFileTitleIdentifyAndOpen", entry.titleIdentifyAndOpen);
    lookUp(library, "rf_sarFileClose", entry.fileClose);
    lookUp(library, "rf_sarFileLayerNamesGet", entry.layerNamesGet);
    lookUp(library, "rf_sarFileRasterFormatsNonStandardDataNamesGet", entry.nodeNamesGet);
    lookUp(library, "rf_sarFileDataRead", entry.dataRead);
    lookUp(library, "rf_sarLayerOpen", entry.layerOpen);
    lookUp(library, "rf_sarLayerRasterRead", entry.layerRasterRead);
    lookUp(library, "rf_sarLayerClose", entry.layerClose);
    lookUp(library, "rf_sarLayerMapInfoRead", entry.layerMapInfoRead);
    lookUp(library, "rf_sarLayerMapProjectionRead", entry.layerMapProjectionRead);
    lookUp(library, "rf_sarLayerMapToPixelTransformRead", entry.layerMapToPixelTransformRead);
    return entry;
}

std::vector<Format> readFormats(const EntryPoints& entry) {
    std::uint32_t count = 0;
    char16_t** list = nullptr;
    entry.titleListGet(&count, &list);
    const auto titles = takeTexts(list, count);
    entry.shortNameListGet(&list);
    const auto shortNames = takeTexts(list, count);
    entry.extListGet(&list);
    const auto extensions = takeTexts(list, count);
    entry.magicListGet(&list);
    const auto magics = takeTexts(list, count);
    std::uint8_t* flags = nullptr;
    entry.templateListGet(&list, &flags);
    const kmsc::HeapPtr<std::uint8_t> flagsOwner(flags);
    const auto templates = takeTexts(list, count);

    std::vector<Format> formats;
    for (std::size_t i = 0; i < titles.size(); ++i)
        formats.push_back(
            {titles[i], shortNames.at(i), extensions.at(i), magics.at(i), templates.at(i)});
    return formats;
}

} // namespace

Plugin::Plugin(const std::string& path)
    : path_(path), entry_(lookUpAll(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))),
      formats_(readFormats(entry_)) {
    std::uint32_t count = 0;
    char16_t** list = nullptr;
    entry_.pixelTypesGet(&count, &list);
    pixelTypes_ = takeTexts(list, count);
    // What the plug-in prints goes to the listener of that thread (Heard).
    kerr::setPrintSink([](const KERR_REPORT& report) { TolvanLog::Write(report); });
}

const Plugin& Plugin::instance() {
    static const Plugin plugin(findPlugin());
    return plugin;
}

std::string Plugin::pixelTypeName(std::uint32_t type) const {
    return type < pixelTypes_.size() ? pixelTypes_[type] : "unknown";
}

std::string refusalByExtension(const Plugin& plugin, const std::string& name) {
    const std::u16string extension = kfnp_FileNameGetExtPart(wideName(name));
    for (const Format& format : plugin.formats())
        if (kstr_Eqic(extension, ktxt::widen(format.extension)))
            return {};
    return "its extension \"" + ktxt::narrow(extension) + "\" is none that products have";
}

std::string refusalAsHeard(const Heard& heard, const std::string& name) {
    if (heard.empty())
        return "it is none of the products that rf_sar reads";
    std::string reason = heard.reason("");
    // The caller names the file, as the user did.
    for (const std::string& called : {name, kfnp::absolute(name)})
        if (const std::string file = called + ": "; reason.starts_with(file))
            reason.erase(0, file.size());
        else if (const std::string line = called + "("; reason.starts_with(line))
            reason.replace(0, line.size(), "line ").erase(reason.find(')'), 1);
    return "cannot be opened as a product: " + reason;
}

int identify(const Plugin& plugin, const std::string& name, std::string& reason) {
    reason = refusalByExtension(plugin, name);
    if (!reason.empty())
        return -1;
    const Heard heard;
    const auto index = static_cast<int>(plugin.entry().titleIdentify(wideName(name).c_str()));
    if (index < 0)
        reason = refusalAsHeard(heard, name);
    return index;
}

} // namespace loader
