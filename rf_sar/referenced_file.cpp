// SPDX-License-Identifier: MIT
#include "referenced_file.h"

#include "kerr/kerr.h"
#include "kfio/kfio.h"
#include "kfnp/kfnp.h"
#include "ktxt/ktxt.h"

void refuseNamesOutsideProduct(std::string_view name) {
    const char* why = nullptr;
    switch (kfnp::classifyReference(name)) {
    case kfnp::Reference::inside:
        return;
    case kfnp::Reference::absolute:
        why = "is absolute";
        break;
    case kfnp::Reference::climbs:
        why = "leaves the product's folder";
        break;
    case kfnp::Reference::url:
        why = "is a URL";
        break;
    case kfnp::Reference::empty:
        why = "is empty";
        break;
    }
    throw TolvanLog::Exception("referenced file name \"" + std::string(name) + "\" " + why +
                               " and is refused");
}

void refuseLinksOutsideProduct(std::u16string_view productFile, std::u16string_view file) {
    if (kfio::linkLeavesProduct(ktxt::narrow(productFile), ktxt::narrow(file)))
        throw TolvanLog::Exception(kfnp::clean(ktxt::narrow(file)) +
                                   " is a link that leaves the product's folder and is refused");
}
