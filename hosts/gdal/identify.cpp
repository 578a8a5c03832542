// SPDX-License-Identifier: MIT
#include "identify.h"

#include "dataset_name.h"
#include "product/families/family.h"
#include "product/find_product.h"

#include <gdal_priv.h>

namespace rf_sar_gdal {
namespace {

std::string extensionOf(const std::string& file) {
    return std::string(".") + CPLGetExtension(file.c_str());
}

std::string_view headOf(const GDALOpenInfo& info) {
    return {reinterpret_cast<const char*>(info.pabyHeader),
            static_cast<std::size_t>(info.nHeaderBytes)};
}

/// The families with that extension look at the first bytes; more bytes are read if these are
/// likely.
bool identifyByHead(GDALOpenInfo& info, const std::string& extension) {
    for (const product::Family* family : product::families()) {
        if (!EQUAL(extension.c_str(), std::string(family->extension).c_str()))
            continue;
        product::Likeness found = family->looksLike(headOf(info));
        if (found == product::Likeness::unknown && info.TryToIngest(family->headBytes))
            found = family->looksLike(headOf(info));
        if (found == product::Likeness::yes)
            return true;
    }
    return false;
}

/// An archive or a manifest leads to a product file, which decides.
bool identifyContainer(const GDALOpenInfo& info) {
    const CPLErrorHandlerPusher quiet(CPLQuietErrorHandler);
    try {
        const std::string file = product::findProduct(info.pszFilename);
        GDALOpenInfo inner(file.c_str(), GA_ReadOnly);
        return file != info.pszFilename && identify(inner);
    } catch (const std::exception&) {
        return false; // no product in it, or several
    }
}

bool identifyFolder(const GDALOpenInfo& info) {
    for (const product::Family* family : product::families())
        for (const std::string_view place : family->places) {
            const std::string file =
                CPLFormFilename(info.pszFilename, std::string(place).c_str(), nullptr);
            VSIStatBufL state;
            if (VSIStatExL(file.c_str(), &state, VSI_STAT_EXISTS_FLAG) != 0)
                continue;
            GDALOpenInfo inner(file.c_str(), GA_ReadOnly);
            return inner.nHeaderBytes > 0 && identifyByHead(inner, extensionOf(file));
        }
    return false;
}

bool isArchive(const std::string& folder) {
    return STARTS_WITH_CI(folder.c_str(), "/vsizip/") && EQUAL(extensionOf(folder).c_str(), ".zip");
}

} // namespace

bool identify(GDALOpenInfo& info) {
    if (isDatasetName(info.pszFilename))
        return true;
    if (info.bIsDirectory) // programs name a path in an archive but mean the archive
        return isArchive(info.pszFilename) ? identifyContainer(info) : identifyFolder(info);
    if (info.nHeaderBytes == 0)
        return false;
    const std::string extension = extensionOf(info.pszFilename);
    constexpr std::string_view archiveMark = "PK\3\4";
    if (EQUAL(CPLGetFilename(info.pszFilename), "manifest.safe") ||
        (EQUAL(extension.c_str(), ".zip") && headOf(info).starts_with(archiveMark)))
        return identifyContainer(info);
    return identifyByHead(info, extension);
}

} // namespace rf_sar_gdal
