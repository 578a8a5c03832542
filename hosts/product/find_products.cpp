#include "product/find_products.h"

#include "kfio/kfio.h"
#include "kfnp/kfnp.h"
#include "kimg/virtual_files.h"
#include "loader/plugin.h"
#include "product/find_product.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <string_view>
#include <unordered_set>

#include <strings.h>
#include <sys/stat.h>

namespace product {
namespace {

namespace fs = std::filesystem;

bool endsWith(const std::string& text, std::string_view ending) {
    return text.size() >= ending.size() && strncasecmp(text.data() + (text.size() - ending.size()),
                                                       ending.data(), ending.size()) == 0;
}

constexpr std::string_view extended = "_extended.json";

/// What an item or its extended form must name somewhere.
bool looksLikeItem(const std::string& file) {
    constexpr std::size_t enough = 4 << 20;
    std::string text;
    if (kfnp::isVirtual(file)) {
        std::string reason;
        text = kimg::readVirtualFile(file, enough, reason).value_or("");
    } else {
        std::ifstream stream(file, std::ios::binary);
        text.resize(enough);
        stream.read(text.data(), static_cast<std::streamsize>(text.size()));
        text.resize(static_cast<std::size_t>(stream.gcount()));
    }
    return text.find("\"assets\"") != std::string::npos ||
           text.find("\"collect\"") != std::string::npos;
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
            for (const std::string& name : kimg::listVirtualFolder(path))
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

    /// @return false where links lead back to a folder above or beside.
    bool isNew(const std::string& path) {
        struct stat state {};
        return kfnp::isVirtual(path) || stat(path.c_str(), &state) != 0 ||
               seenFolders_.insert({state.st_dev, state.st_ino}).second;
    }

    void descend(const std::string& path) {
        if (!isNew(path))
            return;
        const Folder folder = list(path);
        const auto has = [&](const std::string& name) {
            return std::binary_search(folder.files.begin(), folder.files.end(), name);
        };
        const std::string prefix = path + (path.back() == '/' ? "" : "/");
        if (has("batch.jsonl"))
            return;
        if (has("product.xml")) {
            add(prefix + "product.xml", false);
            return;
        }
        for (const std::string& name : folder.files) {
            const std::string file = prefix + name;
            if (endsWith(name, ".zip"))
                add(file, false);
            if (!endsWith(name, ".json"))
                continue;
            const bool companion = endsWith(name, extended) &&
                                   has(name.substr(0, name.size() - extended.size()) + ".json");
            if (!companion && ((search_.known && search_.known(file)) || looksLikeItem(file)))
                add(file, false);
        }
        for (const std::string& name : folder.folders)
            if (name.front() != '.')
                descend(prefix + name);
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
    if (endsWith(file, ".zip")) {
        if (kimg::listVirtualFolder("/vsizip/" + file).empty())
            return false; // damaged
        try {
            findProduct(file);
            return false;
        } catch (const NoProduct&) {
            return true;
        } catch (const loader::Error&) {
            return false; // several products, say
        }
    }
    if (!endsWith(file, ".json"))
        return false;
    std::string reason;
    if (loader::identify(loader::Plugin::instance(), file, reason) >= 0)
        return false;
    // Named as products are: a damaged one.
    return !kfnp::lastComponent(file).starts_with("CAPELLA_");
}

} // namespace product
