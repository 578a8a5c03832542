// SPDX-License-Identifier: MIT
#pragma once

#include "loader/product.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

/// Describes a product as a STAC 1.0 item with the extensions SAR, SAT, VIEW and PROJ; a field that
/// the product does not state is left out, and an extension whose required fields are not all there
/// is not declared.
/// @param file  of the product, as product::findProduct gives it. Images need not be there.
/// @param output  the file that it is for, whose folder the assets' references are relative to; "-"
///        for stdout: the product file's.
/// @param warnings  receives what the item could not carry.
/// @throws loader::Error when the product's metadata cannot be read, it has no layers or no time,
///         or the output is a file of its own.
nlohmann::ordered_json stacItem(const std::string& file, const std::string& output,
                                std::vector<std::string>& warnings);
