// SPDX-License-Identifier: MIT
#include "product/bursts/burst_faults.h"

#include "product/bursts/burst_grid.h"
#include "product/families/document_text.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>

namespace product {
namespace {

using Sentences = std::vector<std::string>;
using Bursts = std::vector<StatedBurst>;

std::map<std::string, std::vector<const StatedBurst*>> byBeam(const Bursts& bursts) {
    std::map<std::string, std::vector<const StatedBurst*>> beams;
    for (const StatedBurst& burst : bursts)
        beams[burst.beam].push_back(&burst); // in the order of their numbers
    return beams;
}

void addOffsets(const Bursts& bursts, Sentences& found) {
    for (const StatedBurst& burst : bursts)
        for (const auto& [name, offset] :
             {std::pair{"line", burst.lineOffset}, std::pair{"sample", burst.sampleOffset}})
            if (offset < 0)
                found.push_back("burst " + burst.name() + " has the " + name + " offset " +
                                std::to_string(offset) + ", outside the common grid");
}

void addNumbers(const Bursts& bursts, Sentences& found) {
    for (const auto& [beam, list] : byBeam(bursts)) {
        std::set<int> numbers;
        for (const StatedBurst* burst : list)
            if (!numbers.insert(burst->number).second)
                found.push_back("burst " + burst->name() + " is listed twice");
        for (int number = *numbers.begin(); number < *numbers.rbegin(); ++number)
            if (!numbers.contains(number)) {
                found.push_back("burst " + beam + '/' + std::to_string(number) +
                                " is missing from the list");
                number = *numbers.lower_bound(number) - 1; // one sentence per gap
            }
    }
}

struct Stretch {
    std::int64_t begin, end;
};

/// Adds the gaps between intervals; the space before the first and after the last is no gap.
void addGaps(std::vector<Stretch> stretches, const std::string& what, const std::string& where,
             Sentences& found) {
    std::sort(stretches.begin(), stretches.end(),
              [](const Stretch& a, const Stretch& b) { return a.begin < b.begin; });
    std::int64_t reached = stretches.front().begin;
    for (const Stretch& each : stretches) {
        if (each.begin > reached)
            found.push_back(what + ' ' + std::to_string(reached) + " to " +
                            std::to_string(each.begin - 1) + where);
        reached = std::max(reached, each.end);
    }
}

void addCoverage(const Bursts& bursts, Sentences& found) {
    std::vector<Stretch> columns;
    for (const auto& [beam, list] : byBeam(bursts)) {
        std::vector<Stretch> lines;
        for (const StatedBurst* burst : list) {
            lines.push_back({burst->lineOffset, burst->endLine()});
            columns.push_back({burst->sampleOffset, burst->endSample()});
        }
        addGaps(std::move(lines), "lines", " of the common grid lie in no burst of beam " + beam,
                found);
    }
    addGaps(std::move(columns), "samples", " of the common grid lie in no beam", found);
}

std::string seconds(double value) {
    std::ostringstream out;
    out << std::setprecision(9) << value;
    return out.str();
}

/// Compares the grid of the offsets with the line times, which are evenly spaced over the grid.
void addTimes(const StatedProduct& stated, const Bursts& bursts, Sentences& found) {
    constexpr double tolerance = 1e-3; // of the line interval
    const BurstGrid grid(bursts);
    const StatedTimes times = stated.times();
    if (grid.lines() < 2 || !std::isfinite(times.firstS) || !std::isfinite(times.lastS))
        return;
    const double interval = (times.lastS - times.firstS) / (grid.lines() - 1);
    if (const double claimed = times.lineIntervalS;
        claimed > 0 && std::abs(std::abs(interval) / claimed - 1) > tolerance)
        found.push_back("the bursts' offsets make a grid of " + std::to_string(grid.lines()) +
                        " lines, " + seconds(std::abs(interval)) +
                        " s apart by the times of its first and last line; the product states " +
                        seconds(claimed) + " s");
    for (const StatedBurst& burst : bursts) {
        const double time = burst.doppler ? gpsSecondsOf(burst.doppler->time) : std::nan("");
        const double line = (time - times.firstS) / interval;
        const double centre = static_cast<double>(burst.lineOffset) + (burst.lines - 1) / 2.0;
        if (std::abs(line - centre) > (burst.lines + 1) / 2.0) // NaN is not
            found.push_back("burst " + burst.name() + " has its centre on line " + seconds(centre) +
                            " of the common grid by its offset; the time of "
                            "its Doppler estimate is that of line " +
                            seconds(std::round(line)));
    }
}

void addTiePoints(const StatedProduct& stated, const Bursts& bursts, Sentences& found) {
    const BurstGrid grid(bursts);
    double line = 0, sample = 0;
    for (const TiePoint& tie : stated.tiePoints()) {
        line = std::max(line, tie.line);
        sample = std::max(sample, tie.sample);
    }
    // Grids of tie points may extend by up to a step.
    if (line > grid.lines() + 0.5 || sample > grid.samples() + 0.5)
        found.push_back("tie points reach line " + seconds(line) + " and sample " +
                        seconds(sample) + ", beyond the bursts' common grid of " +
                        std::to_string(grid.lines()) + " lines and " +
                        std::to_string(grid.samples()) + " samples");
}

} // namespace

std::string burstCount(const std::vector<StatedBurst>& bursts) {
    const auto counted = [](std::size_t count, const std::string& what) {
        return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
    };
    return counted(bursts.size(), "burst") + " of " + counted(byBeam(bursts).size(), "beam");
}

std::vector<std::string> burstFaults(const StatedProduct& stated) {
    const Bursts& bursts = stated.bursts();
    Sentences found;
    if (bursts.empty())
        return found;
    addOffsets(bursts, found);
    addNumbers(bursts, found);
    addCoverage(bursts, found);
    addTimes(stated, bursts, found);
    addTiePoints(stated, bursts, found);
    return found;
}

} // namespace product
