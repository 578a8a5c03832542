// SPDX-License-Identifier: MIT
#pragma once

#include "product/families/statements.h"

namespace product {

/// @return sentences on times of the product that are out of order or leave each other: line
///         times against their stated order, state vectors, the image against its orbit, a
///         collect's start, stop and lines. Empty when all agree.
std::vector<std::string> timeContradictions(const StatedTimes& times);

/// @return sentences on positions and velocities of the orbit that do not belong together.
std::vector<std::string> orbitContradictions(const StatedTimes& times);

} // namespace product
