// SPDX-License-Identifier: MIT
#pragma once

#include "product/checks/findings.h"

/// What can be told of a product's files without decoding them.
/// Each adds its findings; none when there is nothing to check.
namespace product {

void checkFiles(const OpenedProduct& opened, Findings& findings);

} // namespace product
