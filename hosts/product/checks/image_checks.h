// SPDX-License-Identifier: MIT
#pragma once

#include "product/checks/findings.h"

/// Checks that compare images and layers with what the product states about them. Each adds its
/// findings, or none when there is nothing to check.
namespace product {

void checkLayers(const OpenedProduct& opened, Findings& findings);
void checkPolarizations(const OpenedProduct& opened, Findings& findings);
void checkSizes(const OpenedProduct& opened, Findings& findings);
void checkTypes(const OpenedProduct& opened, Findings& findings);
/// Finds files that are cut short, by the offsets and sizes of their blocks.
void checkExtent(const OpenedProduct& opened, Findings& findings);
void checkBurstImages(const OpenedProduct& opened, Findings& findings);

} // namespace product
