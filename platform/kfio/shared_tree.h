// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/product_tree.h"

#include <memory>

namespace kfio {

/// For documents that a host and the plug-in both need: who keeps the tree spares the other one the
/// reading. Any thread.
/// @return the tree that somebody still holds of the same file, unchanged since; else a new one.
/// @throws boost::property_tree::xml_parser_error  as readXmlTree.
RF_PLATFORM_API std::shared_ptr<const ProductTree> sharedXmlTree(const std::string& name);

} // namespace kfio
