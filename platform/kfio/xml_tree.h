// SPDX-License-Identifier: MIT
#pragma once

#include "kfio/product_tree.h"

namespace kfio {

/// Builds the tree of an XML document in the form of boost::property_tree::read_xml without flags,
/// but with XML's rule for line ends: CR LF reads as LF.
/// @param text  the whole document; UTF-8, UTF-16, or an encoding of one byte a character that it
///        declares.
/// @param leaveOut  elements of this name are parsed but not put into the tree.
/// @throws boost::property_tree::xml_parser_error with the line, without a file name: malformed,
///         deeper or larger than kfio/product_tree.h allows, or with entities of its own.
ProductTree buildXmlTree(std::string_view text, std::string_view leaveOut);

} // namespace kfio
