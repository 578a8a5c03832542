// SPDX-License-Identifier: MIT
#pragma once

#include "product/checks/findings.h"

/// Images and layers against what the product states of them.
/// Each adds its findings; none when there is nothing to check.
namespace product {

void checkLayers(const OpenedProduct& opened, Findings& findings);
void checkPolarizations(const OpenedProduct& opened, Findings& findings);
void checkSizes(const OpenedProduct& opened, Findings& findings);
void checkTypes(const OpenedProduct& opened, Findings& findings);
/// Cut files, which their blocks' places and sizes tell.
void checkExtent(const OpenedProduct& opened, Findings& findings);
void checkBurstImages(const OpenedProduct& opened, Findings& findings);

} // namespace product
