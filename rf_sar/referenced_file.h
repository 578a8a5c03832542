#pragma once

#include <string>
#include <string_view>

/// Checks a file name that a product names.
/// Deviation: names that are absolute or leave the folder above the product file's are refused, so
/// that an untrusted product cannot make the host read elsewhere.
/// (Discovery.RefusesNamesThatLeaveTheProduct)
/// @throws TolvanLog::Exception naming the file and why it is refused.
void refuseNamesOutsideProduct(std::string_view name);
