// SPDX-License-Identifier: MIT
#pragma once

#include "jsonlib/document_size.h"
#include "rf_platform_api.h"

#include <boost/property_tree/ptree.hpp>

#include <string>
#include <string_view>

/// Metadata documents as property trees, read through kfio, so local or virtual. Any thread.
namespace kfio {

using ProductTree = boost::property_tree::ptree;

/// Deeper documents are refused; real products nest less than 12 levels.
constexpr std::size_t maximumDocumentDepth = 200;

/// Documents with more elements and attributes, or values, are refused: the shortest of these need
/// a hundred times their own size in a tree. Real products have less than 40 000.
constexpr std::size_t maximumDocumentItems = tolvan::jsonlib::maximumItems;

/// @param name  UTF-8, local or virtual.
/// @param leaveOut  elements of this name are checked like all others but left out of the tree,
///        with everything below them: tie points are most of a product and take most of the time.
/// @throws boost::property_tree::xml_parser_error  naming the file: cannot be opened, nests too
///         deep, holds too much, declares entities, or is malformed.
RF_PLATFORM_API ProductTree readXmlTree(const std::string& name, std::string_view leaveOut = {});
/// The two steps of readXmlTree, for callers that keep the text and parse some of it later.
/// @throws boost::property_tree::xml_parser_error  as readXmlTree.
RF_PLATFORM_API std::string readXmlText(const std::string& name);
/// @param text  as readXmlText returns it.
/// @param name  for errors.
RF_PLATFORM_API ProductTree parseXmlTree(std::string_view text, const std::string& name,
                                         std::string_view leaveOut = {});
/// @throws boost::property_tree::json_parser_error  likewise.
RF_PLATFORM_API ProductTree readJsonTree(const std::string& name);

} // namespace kfio
