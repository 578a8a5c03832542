#include "product/find_product.h"

#include "kfio/kfio.h"
#include "kfnp/kfnp.h"
#include "kfio/virtual_files.h"
#include "kstr/kstr.h"
#include "ktxt/ktxt.h"
#include "loader/host_texts.h"
#include "product/families/family.h"

#include <algorithm>
#include <filesystem>
#include <vector>

namespace product {
namespace {

namespace fs = std::filesystem;

bool endsWith(const std::string& text, std::string_view ending) {
    const std::u16string wide = ktxt::widenLossy(text);
    return wide.size() >= ending.size() &&
           kstr_Eqic(wide.substr(wide.size() - ending.size()), ktxt::widen(ending));
}

std::vector<std::string> listFolder(const std::string& folder) {
    if (kfnp::isVirtual(folder))
        return kfio::listVirtualFolder(folder);
    std::vector<std::string> names;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(folder, ignored))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

bool isFolder(const std::string& name) {
    const kfio::FileState state = kfio::fileState(name);
    return state.exists && !state.isRegularFile;
}

bool isFile(const std::string& name) {
    return kfio::fileState(name).isRegularFile;
}

std::vector<std::string> productsIn(const std::string& folder) {
    const std::string prefix = folder + (folder.back() == '/' ? "" : "/");
    for (const Family* family : families())
        for (const std::string_view place : family->places)
            if (const std::string file = prefix + std::string(place); isFile(file))
                return {file};
    const std::vector<std::string> names = listFolder(folder);
    std::vector<std::string> found;
    for (const Family* family : families())
        if (family->productsAmong)
            for (const std::string& name : family->productsAmong(names))
                found.push_back(prefix + name);
    return found;
}

/// Looks in the folder itself, then in its folders: an archive holds the product's folder.
std::string productOfFolder(const std::string& entry, const std::string& folder) {
    std::vector<std::string> found = productsIn(folder);
    if (found.empty())
        for (const std::string& name : listFolder(folder))
            if (const std::string below = kfnp::clean(folder + "/" + name); isFolder(below))
                for (const std::string& file : productsIn(below))
                    found.push_back(file);
    if (found.empty())
        throw NoProduct(entry + ": holds no product.xml and no JSON item");
    if (found.size() == 1)
        return found.front();
    std::string names;
    for (const std::string& file : found)
        names += "\n  " + file;
    throw loader::Error(entry + ": holds several products; name one of them:" + names);
}

} // namespace

std::string findProduct(const std::string& entry) {
    loader::wideName(entry); // names must be valid UTF-8 before anything looks at them
    if (!kfio::fileState(entry).exists)
        throw loader::Error(entry + ": no such file");
    if (isFolder(entry))
        return productOfFolder(entry, entry);
    if (endsWith(entry, ".zip"))
        return productOfFolder(entry, "/vsizip/" + kfnp::absolute(entry));
    if (kstr_Eqic(ktxt::widen(kfnp::lastComponent(entry)), u"manifest.safe")) {
        const fs::path folder = fs::path(entry).parent_path();
        return productOfFolder(entry, folder.empty() ? "." : folder.string());
    }
    return entry;
}

} // namespace product
