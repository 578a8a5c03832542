#include "product/images/image_files.h"

#include "kfio/kfio.h"
#include "kfnp/kfnp.h"

#include <filesystem>

namespace product {
namespace {

/// Items may carry a URL from where they were downloaded; the file then lies beside them, under
/// the asset's name or the item's own.
std::string capellaImage(const ProductDocument& document, const ImageFact& image) {
    const std::string href = textAt(document.root, "assets/" + image.pole + "/href");
    const bool url = kfnp::classifyReference(href) == kfnp::Reference::url;
    for (const std::string& name : {url ? std::string() : href, kfnp::lastComponent(href)})
        if (!name.empty() && kfio::fileState(document.folder() + name).exists)
            return document.folder() + name;
    std::string stem = document.file.substr(0, document.file.rfind('.'));
    if (document.root.empty()) // the extended document alone
        if (const auto mark = stem.rfind("_extended"); mark != std::string::npos)
            stem.erase(mark);
    return stem + ".tif";
}

/// "metadata/../imagery" without the detour, where links do not make it another place.
std::string withoutDetours(const std::string& name) {
    const std::filesystem::path direct = std::filesystem::path(name).lexically_normal();
    std::error_code missing;
    return std::filesystem::equivalent(direct, name, missing) ? direct.string() : kfnp::clean(name);
}

} // namespace

std::vector<std::string> imageFiles(const ProductDocument& document, const ProductFacts& facts) {
    std::vector<std::string> files;
    for (const ImageFact& image : facts.images)
        files.push_back(document.kind == ProductDocument::Kind::capella
                            ? capellaImage(document, image)
                            : withoutDetours(document.folder() + image.file));
    return files;
}

} // namespace product
