// SPDX-License-Identifier: MIT
#pragma once

#include "loader/product.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

/// Describes a product as a STAC 1.0 item with the extensions SAR, SAT, VIEW and PROJ. A field that
/// the product does not state is left out; an extension that lacks a required field is not
/// declared.
/// @param file  product file, as product::findProduct returns it. The images need not exist.
/// @param output  the item's file; links to assets are relative to its folder. "-" for stdout:
///        links are relative to the product file's folder.
/// @param warnings  receives what the item could not contain.
/// @throws loader::Error when the product's metadata cannot be read, the product has no layers or
///         no time, or the output is one of its own files.
nlohmann::ordered_json stacItem(const std::string& file, const std::string& output,
                                std::vector<std::string>& warnings);
