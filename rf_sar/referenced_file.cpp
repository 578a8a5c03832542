#include "referenced_file.h"

#include "kerr/kerr.h"
#include "kfnp/kfnp.h"

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
