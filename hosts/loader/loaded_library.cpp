// SPDX-License-Identifier: MIT
#include "loader/loaded_library.h"

#include <filesystem>
#include <link.h>

namespace loader {
namespace {

namespace fs = std::filesystem;

struct Search {
    std::string fileName;
    std::string found;
};

int visit(dl_phdr_info* library, std::size_t, void* user) {
    auto& search = *static_cast<Search*>(user);
    const fs::path path(library->dlpi_name);
    const std::string name = path.filename().string();
    if (name != search.fileName && !name.starts_with(search.fileName + ".")) // "x.so", "x.so.1.2"
        return 0;
    std::error_code unresolved;
    const fs::path resolved = fs::canonical(path, unresolved);
    search.found = unresolved ? path : resolved;
    return 1;
}

} // namespace

std::string loadedLibrary(const std::string& fileName) {
    Search search{fileName, {}};
    dl_iterate_phdr(visit, &search);
    return search.found;
}

} // namespace loader
