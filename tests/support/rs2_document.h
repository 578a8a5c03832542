// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/product_tree.h"
#include "support/temporary_folder.h"

#include <boost/property_tree/xml_parser.hpp>

#include <initializer_list>
#include <string>
#include <utility>

namespace support {

/// A RADARSAT-2 product.xml in which every member of the schema occurs, most of them twice where
/// they may; tests give values to what they look at.
class Rs2Document {
public:
    Rs2Document() { boost::property_tree::read_xml(RS2_SEED_DOCUMENT, tree_); }

    using Values = std::initializer_list<std::pair<std::string, std::string>>;
    /// Paths lead from "product" by the names of elements, which need not be neighbours: the first
    /// element of a name below the one before is taken, "stateVector[1]" for the second. "@beam"
    /// as the last name is an attribute.
    Rs2Document& set(const std::string& path, const std::string& value) {
        const auto at = path.rfind('@');
        kfio::ProductTree& element = find(path.substr(0, at == path.npos ? at : at - 1));
        if (at == path.npos)
            element.data() = value;
        else
            element.put("<xmlattr>." + path.substr(at + 1), value);
        return *this;
    }
    Rs2Document& set(Values values) {
        for (const auto& [path, value] : values)
            set(path, value);
        return *this;
    }
    Rs2Document& erase(const std::string& path) {
        const auto [parent, element] = locate(path);
        parent->erase(element);
        return *this;
    }
    /// Puts a copy of an element behind it.
    Rs2Document& repeat(const std::string& path) {
        const auto [parent, element] = locate(path);
        parent->insert(std::next(element), *element);
        return *this;
    }

    /// @return the file's full name.
    std::string write(const TemporaryFolder& folder) const {
        const std::string name = folder / "product.xml";
        boost::property_tree::write_xml(name, tree_);
        return name;
    }

private:
    using Place = std::pair<kfio::ProductTree*, kfio::ProductTree::iterator>;

    static bool search(kfio::ProductTree& tree, const std::string& name, std::size_t& skip,
                       Place& place) {
        for (auto each = tree.begin(); each != tree.end(); ++each) {
            if (each->first == name && skip-- == 0) {
                place = {&tree, each};
                return true;
            }
            if (search(each->second, name, skip, place))
                return true;
        }
        return false;
    }

    Place locate(const std::string& path) {
        Place place{nullptr, tree_.end()};
        kfio::ProductTree* tree = &tree_;
        std::istringstream names(path);
        for (std::string name; std::getline(names, name, '.');) {
            std::size_t skip = 0;
            if (const auto bracket = name.find('['); bracket != name.npos) {
                skip = std::stoul(name.substr(bracket + 1));
                name.erase(bracket);
            }
            if (!search(*tree, name, skip, place))
                throw std::logic_error("no element " + name + " of " + path);
            tree = &place.second->second;
        }
        return place;
    }
    kfio::ProductTree& find(const std::string& path) { return locate(path).second->second; }

    kfio::ProductTree tree_;
};

} // namespace support
