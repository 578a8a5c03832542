// SPDX-License-Identifier: MIT
#pragma once

#include "kerr/kerr.h"
#include "kfio/product_tree.h"

#include <string>

/// Metadata documents that tests change element by element.
namespace support {

using kfio::ProductTree;

/// Removes the n-th element below the root, parents before children.
/// @return its path, elements of arrays as "[]"; empty when there are not so many.
inline std::string removeNth(ProductTree& tree, std::size_t& n, const std::string& prefix = "") {
    for (auto element = tree.begin(); element != tree.end(); ++element) {
        const std::string& key = element->first;
        const std::string path = prefix + (key.empty() ? "[]" : prefix.empty() ? key : '.' + key);
        if (n-- == 0) {
            tree.erase(element);
            return path;
        }
        if (auto found = removeNth(element->second, n, path); !found.empty())
            return found;
    }
    return {};
}

/// Removes the first element of that path.
inline void erase(ProductTree& tree, const std::string& path) {
    const auto dot = path.rfind('.');
    ProductTree& parent = dot == std::string::npos ? tree : tree.get_child(path.substr(0, dot));
    const auto found = parent.find(path.substr(dot + 1)); // npos + 1 is 0
    parent.erase(parent.to_iterator(found));
}

/// Hears everything that is logged while it lives.
class Log {
public:
    Log() : listener_([this](const KERR_REPORT& report) { text_ += kerr_Text(&report) + '\n'; }) {}
    const std::string& text() const { return text_; }

private:
    std::string text_;
    TolvanLog::Listener listener_;
};

} // namespace support
