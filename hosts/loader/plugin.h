// SPDX-License-Identifier: MIT
#pragma once

#include "rf_sar.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

/// Loads a raster-format plug-in and looks up its entry points by name, as any host would.
namespace loader {

/// What went wrong, in a sentence for the user.
struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// One row of the plug-in's format table. Texts are UTF-8.
struct Format {
    std::string title;
    std::string shortName;
    std::string extension;
    std::string magic;
    std::string fileTemplate;
};

/// The plug-in's functions that the hosts use, found by name.
struct EntryPoints {
    decltype(&rf_sarInstanceTitleListGet) titleListGet;
    decltype(&rf_sarInstanceShortNameListGet) shortNameListGet;
    decltype(&rf_sarInstanceExtListGet) extListGet;
    decltype(&rf_sarInstanceMagicListGet) magicListGet;
    decltype(&rf_sarInstanceTemplateListGet) templateListGet;
    decltype(&rf_sarInstancePixelTypesGet) pixelTypesGet;
    decltype(&rf_sarFileTitleIdentify) titleIdentify;
    decltype(&rf_sarFileTitleIdentifyAndOpen) titleIdentifyAndOpen;
    decltype(&rf_sarFileClose) fileClose;
    decltype(&rf_sarFileLayerNamesGet) layerNamesGet;
    decltype(&rf_sarFileRasterFormatsNonStandardDataNamesGet) nodeNamesGet;
    decltype(&rf_sarFileDataRead) dataRead;
    decltype(&rf_sarLayerOpen) layerOpen;
    decltype(&rf_sarLayerRasterRead) layerRasterRead;
    decltype(&rf_sarLayerClose) layerClose;
    decltype(&rf_sarLayerMapInfoRead) layerMapInfoRead;
    decltype(&rf_sarLayerMapProjectionRead) layerMapProjectionRead;
    decltype(&rf_sarLayerMapToPixelTransformRead) layerMapToPixelTransformRead;
};

/// A loaded plug-in. Stays loaded until the process ends. Any thread.
class Plugin {
public:
    /// Loads the plug-in that RF_SAR_PLUGIN names; else rf_sar.so beside the platform library; else
    /// rf_sar.so where the dynamic linker finds it.
    /// @throws Error saying what was tried.
    static const Plugin& instance();

    const EntryPoints& entry() const { return entry_; }
    const std::vector<Format>& formats() const { return formats_; }
    const std::string& path() const { return path_; }
    /// @return the host's name of a pixel type ("u16").
    std::string pixelTypeName(std::uint32_t type) const;

private:
    explicit Plugin(const std::string& path);

    std::string path_;
    EntryPoints entry_{};
    std::vector<Format> formats_;
    std::vector<std::string> pixelTypes_;
};

/// @return why the format table excludes a file name; empty when it does not.
std::string refusalByExtension(const Plugin& plugin, const std::string& name);
class Heard;
/// @return why no reader accepted the file, as the readers reported it; without the file's name.
std::string refusalAsHeard(const Heard& heard, const std::string& name);

/// @param name  of the product file, UTF-8.
/// @param reason  receives why the file is no product, as the readers reported it.
/// @return the format's row, or -1.
int identify(const Plugin& plugin, const std::string& name, std::string& reason);

} // namespace loader
