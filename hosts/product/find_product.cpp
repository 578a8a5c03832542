// SPDX-License-Identifier: MIT
#include "product/find_product.h"

#include "kfio/kfio.h"
#include "kfio/virtual_files.h"
#include "kfio/zip_directory.h"
#include "kfnp/kfnp.h"
#include "kstr/kstr.h"
#include "ktxt/ktxt.h"
#include "loader/host_texts.h"
#include "product/families/family.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
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

/// @return the only product found.
std::string theOnly(const std::string& entry, const std::vector<std::string>& found) {
    constexpr std::size_t mostNames = 10;
    if (found.empty())
        throw NoProduct(entry + ": holds no product.xml and no JSON item");
    if (found.size() == 1)
        return found.front();
    std::string names;
    for (std::size_t i = 0; i < std::min(found.size(), mostNames); ++i)
        names += "\n  " + found[i];
    if (found.size() > mostNames)
        names += "\n  and " + std::to_string(found.size() - mostNames) + " more";
    throw loader::Error(entry + ": holds several products; name one of them:" + names);
}

/// Looks in the folder itself, then in its folders.
std::string productOfFolder(const std::string& entry, const std::string& folder) {
    std::vector<std::string> found = productsIn(folder);
    if (found.empty())
        for (const std::string& name : listFolder(folder))
            if (const std::string below = kfnp::clean(folder + "/" + name); isFolder(below))
                for (const std::string& file : productsIn(below))
                    found.push_back(file);
    return theOnly(entry, found);
}

/// The files of an archive's folder, by their paths from there.
using Members = std::set<std::string>;

/// As productsIn, for a list of names.
std::vector<std::string> productsAmong(const Members& members) {
    std::vector<std::string> direct, found;
    for (const Family* family : families())
        for (const std::string_view place : family->places)
            if (members.contains(std::string(place)))
                return {std::string(place)};
    std::copy_if(members.begin(), members.end(), std::back_inserter(direct),
                 [](const std::string& path) { return path.find('/') == path.npos; });
    for (const Family* family : families())
        if (family->productsAmong)
            for (const std::string& name : family->productsAmong(direct))
                found.push_back(name);
    return found;
}

/// As productOfFolder: an archive contains the product's folder or its content. Reads the archive's
/// directory once, however many folders it has.
std::string productOfArchive(const std::string& entry) {
    const std::string archive = kfnp::absolute(entry);
    const auto paths = kfio::zipPaths(archive);
    if (!paths)
        throw loader::Error(entry + ": is no whole zip archive: the directory at its end cannot be "
                                    "read; copy or download it again");
    Members all;
    std::map<std::string, Members> folders;
    for (const std::string& path : *paths) {
        if (path.empty() || path.back() == '/') // a folder
            continue;
        all.insert(path);
        if (const auto slash = path.find('/'); slash != path.npos)
            folders[path.substr(0, slash + 1)].insert(path.substr(slash + 1));
    }
    const std::string prefix = "/vsizip/" + archive + '/';
    std::vector<std::string> found;
    for (const std::string& name : productsAmong(all))
        found.push_back(prefix + name);
    if (found.empty())
        for (const auto& [folder, members] : folders)
            for (const std::string& name : productsAmong(members))
                found.push_back(prefix + folder + name);
    return theOnly(entry, found);
}

} // namespace

std::string findProduct(const std::string& entry) {
    loader::wideName(entry); // names must be valid UTF-8 before anything looks at them
    for (const auto& [scheme, prefix] :
         {std::pair<std::string_view, std::string>("http://", "/vsicurl/http://"),
          {"https://", "/vsicurl/https://"},
          {"s3://", "/vsis3/"},
          {"gs://", "/vsigs/"}})
        if (entry.starts_with(scheme))
            throw loader::Error(entry + ": is an address; open it as " + prefix +
                                entry.substr(scheme.size()));
    if (!kfio::fileState(entry).exists)
        throw loader::Error(entry + ": no such file");
    if (isFolder(entry))
        return productOfFolder(entry, entry);
    if (endsWith(entry, ".zip"))
        return productOfArchive(entry);
    if (kstr_Eqic(ktxt::widen(kfnp::lastComponent(entry)), u"manifest.safe")) {
        const fs::path folder = fs::path(entry).parent_path();
        return productOfFolder(entry, folder.empty() ? "." : folder.string());
    }
    return entry;
}

} // namespace product
