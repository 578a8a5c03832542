// SPDX-License-Identifier: MIT
#include "capella_files.h"

#include "kfio/kfio.h"
#include "kfnp/kfnp.h"
#include "kstr/kstr.h"
#include "ktxt/ktxt.h"
#include "referenced_file.h"

namespace capella_files {

std::u16string besideItem(std::u16string_view itemName, std::u16string_view suffix) {
    const std::u16string path = kfnp_FileNameGetPathPart(itemName);
    const std::u16string base = kfnp_FileNameGetBasePart(itemName);
    return kstr::format(u"%s%s%s", {std::u16string_view(path), std::u16string_view(base), suffix});
}

std::optional<std::u16string> fileOfAsset(std::u16string_view itemName, const std::string& href) {
    if (href.empty())
        return std::nullopt;
    const bool url = kfnp::classifyReference(href) == kfnp::Reference::url;
    const std::string lastComponent = kfnp::lastComponent(href);
    if (!url)
        refuseNamesOutsideProduct(href);

    const std::u16string directory =
        kfnp_FileNameGetPathPart(kfnp_FileNameExternalToInternal(itemName));
    for (const std::string& name : {href, lastComponent}) {
        if (name.empty() || (url && &name == &href))
            continue;
        auto candidate = kstr::format(u"%s/%s", {std::u16string_view(directory),
                                                 std::u16string_view(ktxt::widen(name))});
        if (kfio_FileExists(candidate)) {
            refuseLinksOutsideProduct(itemName, candidate);
            return candidate;
        }
    }
    return std::nullopt;
}

} // namespace capella_files
