// SPDX-License-Identifier: MIT
#include "kimg/elevation_files.h"

#include "kimg/gdal_session.h"

#include <cpl_string.h>
#include <cpl_vsi.h>

#include <algorithm>
#include <cctype>
#include <memory>

namespace kimg {
namespace {

bool isFolder(const std::string& path) {
    VSIStatBufL state;
    return VSIStatExL(path.c_str(), &state, VSI_STAT_NATURE_FLAG) == 0 && VSI_ISDIR(state.st_mode);
}

bool looksLikeHeights(const std::string& name) {
    const auto dot = name.rfind('.');
    std::string extension = dot == std::string::npos ? "" : name.substr(dot + 1);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const char* known : {"tif", "tiff", "vrt", "hgt", "dt0", "dt1", "dt2", "asc", "gtx"})
        if (extension == known)
            return true;
    return false;
}

} // namespace

std::vector<std::string> elevationFilesOf(const std::string& path) {
    if (!isFolder(path))
        return {path};
    struct ListFree {
        void operator()(char** list) const { CSLDestroy(list); }
    };
    const std::unique_ptr<char*, ListFree> entries(VSIReadDir(path.c_str()));
    std::vector<std::string> files;
    for (char** name = entries.get(); name && *name; ++name)
        if (looksLikeHeights(*name) && !isFolder(path + "/" + *name))
            files.push_back(path + (path.back() == '/' ? "" : "/") + *name);
    std::sort(files.begin(), files.end());
    if (files.empty())
        throw ImageError(path + ": the folder holds no elevation models");
    return files;
}

} // namespace kimg
