// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

/// Checks a file name that a product states.
/// Deviation: names that are absolute or leave the folder above the product file's are refused, so
/// that an untrusted product cannot make the host read elsewhere; so are links that lead there.
/// (Discovery.RefusesNamesThatLeaveTheProduct)
/// @throws TolvanLog::Exception naming the file and why it is refused.
void refuseNamesOutsideProduct(std::string_view name);

/// Checks where links lead a file of a product.
/// @throws TolvanLog::Exception as above.
void refuseLinksOutsideProduct(std::u16string_view productFile, std::u16string_view file);
