// SPDX-License-Identifier: MIT
#pragma once

#include "product/checks/findings.h"

/// Checks that compare an image's georeferencing with what else the product states. Each adds its
/// findings, or none when there is nothing to check.
namespace product {

void checkModel(const OpenedProduct& opened, Findings& findings);
void checkOwnModel(const OpenedProduct& opened, Findings& findings);
void checkGround(const OpenedProduct& opened, Findings& findings);
void checkLineTimes(const OpenedProduct& opened, Findings& findings);
void checkMiddle(const OpenedProduct& opened, Findings& findings);
void checkRpc(const OpenedProduct& opened, Findings& findings);

} // namespace product
