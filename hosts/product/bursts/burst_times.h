// SPDX-License-Identifier: MIT
#pragma once

#include "product/families/stated_product.h"

#include <string>

namespace product {

/// First and last line time of a burst, computed from its place in the common grid: ISO 8601 with
/// six decimals and Z, the earlier first. They follow the times that the product states; both are
/// "" where it states none.
struct BurstTimes {
    std::string start, stop;
};
BurstTimes timesOf(const StatedProduct& stated, const StatedBurst& burst);

} // namespace product
