// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Finds the files of a Capella product from the item's name. Names may be local or virtual.
namespace capella_files {

/// @return the item's name with `suffix` in place of ".json" ("_extended.json", ".tif").
std::u16string besideItem(std::u16string_view itemName, std::u16string_view suffix);

/// @return the file in the product's folder that an asset's href names; nullopt when there is none
///         or the href is empty.
/// Kept: the folder ends with its separator and another follows, as file functions accept.
/// Deviation: items as downloaded carry URLs; a href that does not name a file is tried once more
/// by its last component. (CapellaDiscovery.HrefAsUrlFindsTheFileBesideIt)
/// @throws TolvanLog::Exception for a href that is absolute or leaves the product.
std::optional<std::u16string> fileOfAsset(std::u16string_view itemName, const std::string& href);

} // namespace capella_files
