// SPDX-License-Identifier: MIT
#pragma once

#include "product/families/statements.h"

#include <map>
#include <mutex>

namespace product {

/// The common grid of a product's bursts, and which of them shows a pixel where several do: of each
/// beam the one whose dwell centre, its middle line, is nearest, and among beams the one whose
/// nearest edge is farther. Independent of the order in which bursts are listed. Any thread.
class BurstGrid {
public:
    /// @param bursts  in the order of StatedProduct::bursts(); they must outlive the grid.
    explicit BurstGrid(const std::vector<StatedBurst>& bursts);

    /// Behind the last line and sample of any burst.
    std::uint32_t lines() const { return lines_; }
    std::uint32_t samples() const { return samples_; }

    /// Columns begin to end - 1 of a line, which one burst shows.
    struct Run {
        std::size_t burst;
        std::uint32_t begin, end;
        bool operator==(const Run&) const = default;
    };
    /// @return the runs of a line from left to right; columns that no burst covers lie in none.
    ///         Equal for neighbouring lines, unless a burst begins, ends or gives way there. They
    ///         live as long as the grid.
    const std::vector<Run>& runsOf(std::uint32_t line) const;

private:
    /// Places in the list of bursts: those that cover a line, beam by beam, the nearest first.
    using Ranking = std::vector<std::size_t>;
    Ranking rankingOf(std::uint32_t line) const;
    std::vector<Run> runsOf(const Ranking& ranking) const;

    const std::vector<StatedBurst>& bursts_;
    std::uint32_t lines_ = 0, samples_ = 0;
    mutable std::mutex mutex_;
    mutable std::map<Ranking, std::vector<Run>> known_;
};

} // namespace product
