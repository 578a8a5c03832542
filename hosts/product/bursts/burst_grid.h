// SPDX-License-Identifier: MIT
#pragma once

#include "product/families/statements.h"

#include <map>
#include <mutex>

namespace product {

/// The common grid of a product's bursts, and which burst shows a pixel that several cover: in each
/// beam the burst whose middle line (its dwell centre) is nearest; among the beams the burst whose
/// nearest edge is farthest from the pixel. The order in which bursts are listed does not matter.
/// Any thread may use it.
class BurstGrid {
public:
    /// @param bursts  in the order of StatedProduct::bursts(); they must outlive the grid.
    explicit BurstGrid(const std::vector<StatedBurst>& bursts);

    /// Size of the grid, which ends after the last line and sample of any burst.
    std::uint32_t lines() const { return lines_; }
    std::uint32_t samples() const { return samples_; }

    /// Columns begin to end - 1 of a line, all shown by one burst.
    struct Run {
        std::size_t burst;
        std::uint32_t begin, end;
        bool operator==(const Run&) const = default;
    };
    /// @return the runs of a line from left to right; columns that no burst covers are in no run.
    ///         Neighbouring lines have equal runs unless a burst begins, ends or gives way to
    ///         another there. The runs live as long as the grid.
    const std::vector<Run>& runsOf(std::uint32_t line) const;

private:
    /// Indices of the bursts that cover a line, beam by beam, the nearest burst first.
    using Ranking = std::vector<std::size_t>;
    Ranking rankingOf(std::uint32_t line) const;
    std::vector<Run> runsOf(const Ranking& ranking) const;

    const std::vector<StatedBurst>& bursts_;
    std::uint32_t lines_ = 0, samples_ = 0;
    mutable std::mutex mutex_;
    mutable std::map<Ranking, std::vector<Run>> known_;
};

} // namespace product
