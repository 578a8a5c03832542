// SPDX-License-Identifier: MIT
#pragma once

#include "product/families/stated_product.h"

#include <string>

namespace product {

/// Times of a burst's lines by its place in the common grid, ISO 8601 with six decimals and Z, the
/// earlier first. Times as the product states them; both "" where it states none.
struct BurstTimes {
    std::string start, stop;
};
BurstTimes timesOf(const StatedProduct& stated, const StatedBurst& burst);

} // namespace product
