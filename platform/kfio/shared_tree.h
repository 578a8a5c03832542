// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/product_tree.h"

#include <memory>

namespace kfio {

/// For documents that a host and the plug-in both need: while one holds the tree, the other does
/// not read the file again. Any thread.
/// @return the tree of the same unchanged file, if somebody still holds it; else a new one.
/// @throws boost::property_tree::xml_parser_error  as readXmlTree.
RF_PLATFORM_API std::shared_ptr<const ProductTree> sharedXmlTree(const std::string& name);

} // namespace kfio
