// SPDX-License-Identifier: MIT
#include "kfio/shared_tree.h"

#include "kfio/kfio.h"

#include <map>
#include <mutex>

namespace kfio {
namespace {

struct Held {
    FileState state;
    std::weak_ptr<const ProductTree> tree;
};

struct Trees {
    std::mutex mutex;
    std::map<std::string, Held> byName;
};

/// Never destroyed: products are closed by destructors at the process's end as well.
Trees& trees() {
    static auto* const all = new Trees;
    return *all;
}

} // namespace

std::shared_ptr<const ProductTree> sharedXmlTree(const std::string& name) {
    const FileState state = fileState(name); // taken before the parse, so that no change is missed
    {
        const std::lock_guard lock(trees().mutex);
        const auto found = trees().byName.find(name);
        if (found != trees().byName.end() && found->second.state == state)
            if (auto tree = found->second.tree.lock())
                return tree;
    }
    auto tree = std::make_shared<ProductTree>();
    readXmlTree(name).swap(*tree); // trees have no move, only swap
    const std::lock_guard lock(trees().mutex);
    std::erase_if(trees().byName, [](const auto& held) { return held.second.tree.expired(); });
    trees().byName[name] = {state, tree};
    return tree;
}

} // namespace kfio
