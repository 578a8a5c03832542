// SPDX-License-Identifier: MIT
#include "product/find_products.h"

#include "kfio/kfio.h"
#include "kfio/virtual_files.h"
#include "kfnp/kfnp.h"
#include "loader/plugin.h"
#include "product/families/family.h"
#include "product/find_product.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <unordered_set>

#include <strings.h>
#include <sys/stat.h>

namespace product {
namespace {

namespace fs = std::filesystem;

bool isZip(const std::string& name) {
    constexpr std::string_view ending = ".zip";
    return name.size() > ending.size() &&
           strcasecmp(name.c_str() + (name.size() - ending.size()), ending.data()) == 0;
}

/// Decides by a file's first bytes.
Likeness likenessOf(const std::string& file, const Family& family) {
    std::string head;
    if (kfnp::isVirtual(file)) {
        constexpr std::size_t largest = 64 << 20;
        std::string reason;
        head = kfio::readVirtualFile(file, largest, reason).value_or("");
        head.resize(std::min(head.size(), static_cast<std::size_t>(family.headBytes)));
    } else {
        std::ifstream stream(file, std::ios::binary);
        head.resize(static_cast<std::size_t>(family.headBytes));
        stream.read(head.data(), family.headBytes);
        head.resize(static_cast<std::size_t>(stream.gcount()));
    }
    return family.looksLike(head);
}

struct Folder {
    std::vector<std::string> files, folders; ///< names, sorted
};

class Walk {
public:
    explicit Walk(const ProductSearch& search) : search_(search) {}

    void enter(const std::string& entry) {
        const std::string path =
            kfnp::isVirtual(entry) ? entry : fs::absolute(entry).lexically_normal().string();
        const kfio::FileState state = kfio::fileState(path);
        if (state.exists && !state.isRegularFile) {
            const std::size_t before = found_.size();
            descend(path);
            if (found_.size() == before)
                search_.remark(entry + ": holds no product");
            return;
        }
        if (strcasecmp(kfnp::lastComponent(path).c_str(), "manifest.safe") == 0 && state.exists)
            descend(fs::path(path).parent_path());
        else
            add(path, true);
    }

    std::vector<FoundProduct> take() { return std::move(found_); }

private:
    void add(const std::string& file, bool named) {
        if (seenFiles_.insert(file).second)
            found_.push_back({file, named});
    }

    Folder list(const std::string& path) const {
        Folder folder;
        if (kfnp::isVirtual(path)) {
            for (const std::string& name : kfio::listVirtualFolder(path))
                (kfio::fileState(path + '/' + name).isRegularFile ? folder.files : folder.folders)
                    .push_back(name);
            return folder;
        }
        std::error_code fault;
        for (fs::directory_iterator entry(path, fault), end; !fault && entry != end;
             entry.increment(fault)) {
            std::error_code ignored;
            const std::string name = entry->path().filename();
            (entry->is_directory(ignored) ? folder.folders : folder.files).push_back(name);
        }
        if (fault)
            search_.remark(path + ": cannot be read: " + fault.message());
        std::sort(folder.files.begin(), folder.files.end());
        std::sort(folder.folders.begin(), folder.folders.end());
        return folder;
    }

    /// @return false when links lead back to a folder already searched.
    bool isNew(const std::string& path) {
        struct stat state {};
        return kfnp::isVirtual(path) || stat(path.c_str(), &state) != 0 ||
               seenFolders_.insert({state.st_dev, state.st_ino}).second;
    }

    void descend(const std::string& path) {
        if (!isNew(path))
            return;
        const Folder folder = list(path);
        const auto has = [](const std::vector<std::string>& names, std::string_view name) {
            return std::binary_search(names.begin(), names.end(), name);
        };
        const std::string prefix = path + (path.back() == '/' ? "" : "/");
        if (has(folder.files, "batch.jsonl"))
            return;
        for (const Family* family : families())
            for (const std::string_view place : family->places) {
                const std::string file = prefix + std::string(place);
                const bool below = has(folder.folders, place.substr(0, place.find('/')));
                if (has(folder.files, place) || (below && kfio::fileState(file).isRegularFile)) {
                    add(file, false);
                    return;
                }
            }
        addThoseAmong(folder.files, prefix);
        for (const std::string& name : folder.folders)
            if (name.front() != '.')
                descend(prefix + name);
    }

    /// Products beside each other in one folder.
    void addThoseAmong(const std::vector<std::string>& names, const std::string& prefix) {
        for (const std::string& name : names)
            if (isZip(name))
                add(prefix + name, false);
        for (const Family* family : families()) {
            if (!family->productsAmong)
                continue;
            for (const std::string& name : family->productsAmong(names)) {
                const std::string file = prefix + name;
                if ((search_.known && search_.known(file)) ||
                    likenessOf(file, *family) != Likeness::no)
                    add(file, false);
            }
        }
    }

    const ProductSearch& search_;
    std::vector<FoundProduct> found_;
    std::unordered_set<std::string> seenFiles_;
    std::set<std::pair<dev_t, ino_t>> seenFolders_;
};

} // namespace

std::vector<FoundProduct> findProducts(const std::vector<std::string>& entries,
                                       const ProductSearch& search) {
    Walk walk(search);
    for (const std::string& entry : entries)
        walk.enter(entry);
    return walk.take();
}

bool isForeign(const std::string& file) {
    if (isZip(file)) {
        try {
            findProduct(file);
            return false;
        } catch (const NoProduct&) {
            return true;
        } catch (const loader::Error&) {
            return false; // damaged, or several products
        }
    }
    for (const Family* family : families())
        if (family->productsAmong && file.ends_with(family->extension) &&
            likenessOf(file, *family) == Likeness::yes)
            return false;
    std::string reason;
    return !file.ends_with(".xml") &&
           loader::identify(loader::Plugin::instance(), file, reason) < 0;
}

} // namespace product
