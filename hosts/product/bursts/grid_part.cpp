// SPDX-License-Identifier: MIT
#include "product/bursts/grid_part.h"

#include "product/bursts/burst_grid.h"

#include <algorithm>

namespace product {

GridPart partOf(const StatedBurst& burst) {
    return {burst.lineOffset, burst.sampleOffset, burst.lines,
            burst.samples,    burst.pulseRateHz,  &burst};
}

GridPart wholeGrid(const StatedProduct& stated) {
    const std::vector<StatedBurst>& bursts = stated.bursts();
    const BurstGrid grid(bursts);
    const auto [slowest, fastest] = std::minmax_element(
        bursts.begin(), bursts.end(),
        [](const StatedBurst& a, const StatedBurst& b) { return a.pulseRateHz < b.pulseRateHz; });
    const bool known = slowest->pulseRateHz > 0;
    const double midway = known ? 2 / (1 / slowest->pulseRateHz + 1 / fastest->pulseRateHz) : 0;
    return {0, 0, grid.lines(), grid.samples(), midway, nullptr};
}

} // namespace product
