// SPDX-License-Identifier: MIT
#pragma once

#include "product/checks/findings.h"

/// Tables that go by the image's columns.
/// Each adds its findings; none when there is nothing to check.
namespace product {

void checkTables(const OpenedProduct& opened, Findings& findings);

} // namespace product
