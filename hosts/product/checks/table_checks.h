// SPDX-License-Identifier: MIT
#pragma once

#include "product/checks/findings.h"

/// Checks of tables with values by image column. Each adds its findings, or none when there is
/// nothing to check.
namespace product {

void checkTables(const OpenedProduct& opened, Findings& findings);

} // namespace product
