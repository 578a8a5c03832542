// SPDX-License-Identifier: MIT
#pragma once

#include "product/families/statements.h"

namespace product {

/// @return a sentence for each contradiction between the product's times: line times against their
///         stated order, the order of state vectors, the image outside its orbit, lines outside the
///         collect's start and stop. Empty when all agree.
std::vector<std::string> timeContradictions(const StatedTimes& times);

/// @return a sentence for each contradiction between positions and velocities of the orbit.
std::vector<std::string> orbitContradictions(const StatedTimes& times);

} // namespace product
