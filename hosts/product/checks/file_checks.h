// SPDX-License-Identifier: MIT
#pragma once

#include "product/checks/findings.h"

/// Checks of a product's files that need no decoding. Each adds its findings, or none when there is
/// nothing to check.
namespace product {

void checkFiles(const OpenedProduct& opened, Findings& findings);

} // namespace product
