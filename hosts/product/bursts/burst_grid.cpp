// SPDX-License-Identifier: MIT
#include "product/bursts/burst_grid.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

namespace product {

BurstGrid::BurstGrid(const std::vector<StatedBurst>& bursts) : bursts_(bursts) {
    std::int64_t lines = 0, samples = 0;
    for (const StatedBurst& burst : bursts) {
        lines = std::max(lines, burst.endLine());
        samples = std::max(samples, burst.endSample());
    }
    lines_ = static_cast<std::uint32_t>(lines);
    samples_ = static_cast<std::uint32_t>(samples);
}

const std::vector<BurstGrid::Run>& BurstGrid::runsOf(std::uint32_t line) const {
    Ranking ranking = rankingOf(line);
    const std::lock_guard lock(mutex_);
    auto found = known_.find(ranking);
    if (found == known_.end()) {
        std::vector<Run> runs = runsOf(ranking);
        found = known_.emplace(std::move(ranking), std::move(runs)).first;
    }
    return found->second;
}

BurstGrid::Ranking BurstGrid::rankingOf(std::uint32_t line) const {
    Ranking ranking;
    for (std::size_t i = 0; i < bursts_.size(); ++i)
        if (line >= bursts_[i].lineOffset && line < bursts_[i].endLine())
            ranking.push_back(i);
    const auto order = [&](std::size_t i) {
        const StatedBurst& burst = bursts_[i];
        const std::int64_t twiceOff =
            2 * std::int64_t{line} - burst.lineOffset - burst.endLine() + 1;
        return std::tuple<const std::string&, std::int64_t, std::size_t>(burst.beam,
                                                                         std::abs(twiceOff), i);
    };
    std::sort(ranking.begin(), ranking.end(),
              [&](std::size_t a, std::size_t b) { return order(a) < order(b); });
    return ranking;
}

std::vector<BurstGrid::Run> BurstGrid::runsOf(const Ranking& ranking) const {
    std::vector<Run> runs;
    for (std::uint32_t column = 0; column < samples_; ++column) {
        const StatedBurst* beamServed = nullptr;
        std::size_t best = bursts_.size();
        std::int64_t farthest = -1;
        for (const std::size_t i : ranking) {
            const StatedBurst& burst = bursts_[i];
            const bool servedBetter = beamServed && beamServed->beam == burst.beam;
            const std::int64_t edge =
                std::min(column - burst.sampleOffset, burst.endSample() - 1 - column);
            if (servedBetter || edge < 0)
                continue;
            beamServed = &burst;
            if (edge > farthest) {
                farthest = edge;
                best = i;
            }
        }
        if (best == bursts_.size())
            continue;
        if (!runs.empty() && runs.back().burst == best && runs.back().end == column)
            ++runs.back().end;
        else
            runs.push_back({best, column, column + 1});
    }
    return runs;
}

} // namespace product
