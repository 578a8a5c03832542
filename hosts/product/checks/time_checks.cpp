// SPDX-License-Identifier: MIT
#include "product/checks/time_checks.h"

#include "product/families/document_text.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>

namespace product {
namespace {

constexpr double roundingS = 1e-3; ///< products round times and steps on their own

void requireReadable(const std::string& text, const char* what, std::vector<std::string>& found) {
    if (!text.empty() && std::isnan(gpsSecondsOf(text)))
        found.push_back(std::string(what) + " \"" + text + "\" is not a time");
}

void checkLines(const StatedTimes& times, std::vector<std::string>& found) {
    requireReadable(times.first, "the first line's time", found);
    requireReadable(times.last, "the last line's time", found);
    const bool falls = times.lastS<times.firstS, rises = times.lastS> times.firstS;
    if ((times.order == "Increasing" && falls) || (times.order == "Decreasing" && rises))
        found.push_back("line times are stated as " + times.order + ", but run from " +
                        times.first + " to " + times.last);
    if (times.firstS == times.lastS)
        found.push_back("the first and the last line have one time, " + times.first);
}

void checkOrbit(const StatedTimes& times, std::vector<std::string>& found) {
    std::vector<double> at;
    for (const StatedVector& vector : times.vectors) {
        requireReadable(vector.time, "a state vector's time", found);
        at.push_back(gpsSecondsOf(vector.time));
        if (at.size() > 1 && at.back() <= at[at.size() - 2])
            found.push_back("state vectors are out of order: " + vector.time + " follows " +
                            times.vectors[at.size() - 2].time);
    }
    const auto [begin, end] = std::minmax_element(at.begin(), at.end());
    if (at.size() < 2 || !std::all_of(at.begin(), at.end(), [](double s) { return s == s; }))
        return;
    // Real images extend up to one vector interval beyond their vectors.
    const double reach = (*end - *begin) / static_cast<double>(at.size() - 1) + roundingS;
    if (std::min(times.firstS, times.lastS) < *begin - reach ||
        std::max(times.firstS, times.lastS) > *end + reach)
        found.push_back("the image's lines, from " + times.first +
                        ", leave the time of its state vectors, " + times.vectors.front().time +
                        " to " + times.vectors.back().time);
}

/// Distance between the next vector's position and the position predicted from this vector by the
/// velocities of both (Hermite's rule, with accelerations from the velocities). Real orbits give
/// less than 1 m.
std::vector<double> missesM(const std::vector<StatedVector>& vectors) {
    const std::size_t count = vectors.size();
    std::vector<double> at, misses;
    for (const StatedVector& vector : vectors)
        at.push_back(gpsSecondsOf(vector.time));
    const auto acceleration = [&](std::size_t i, std::size_t part) {
        const std::size_t a = i == 0 ? 0 : i - 1, b = std::min(i + 1, count - 1);
        return (vectors[b].velocityMS[part] - vectors[a].velocityMS[part]) / (at[b] - at[a]);
    };
    for (std::size_t i = 0; i + 1 < count; ++i) {
        const StatedVector &from = vectors[i], &to = vectors[i + 1];
        const double step = at[i + 1] - at[i];
        std::array<double, 3> off{};
        for (std::size_t k = 0; k < off.size(); ++k)
            off[k] = to.positionM[k] - from.positionM[k] -
                     step / 2 * (from.velocityMS[k] + to.velocityMS[k]) +
                     step * step / 12 * (acceleration(i + 1, k) - acceleration(i, k));
        misses.push_back(std::hypot(off[0], off[1], off[2]));
    }
    return misses;
}

void checkCollect(const StatedTimes& times, std::vector<std::string>& found) {
    const std::string &start = times.collectStart, &stop = times.collectStop;
    requireReadable(start, "the collect's start", found);
    requireReadable(stop, "the collect's stop", found);
    const double startS = gpsSecondsOf(start), stopS = gpsSecondsOf(stop);
    if (stopS < startS)
        found.push_back("the collect stops at " + stop + ", before its start at " + start);
    else if (std::min(times.firstS, times.lastS) < startS - roundingS ||
             std::max(times.firstS, times.lastS) > stopS + roundingS)
        found.push_back("the image's lines, from " + times.first + ", leave the collect, " + start +
                        " to " + stop);
}

} // namespace

std::vector<std::string> timeContradictions(const StatedTimes& times) {
    std::vector<std::string> found;
    checkLines(times, found);
    checkOrbit(times, found);
    checkCollect(times, found);
    return found;
}

std::vector<std::string> orbitContradictions(const StatedTimes& times) {
    constexpr double mattersM = 10;
    std::vector<std::string> found;
    const auto notFinite = [](double number) { return !std::isfinite(number); };
    for (const StatedVector& vector : times.vectors)
        if (std::any_of(vector.positionM.begin(), vector.positionM.end(), notFinite) ||
            std::any_of(vector.velocityMS.begin(), vector.velocityMS.end(), notFinite))
            found.push_back("the state vector of " + vector.time +
                            " lacks a number of its position or velocity");
    if (!found.empty())
        return found;
    const std::vector<double> misses = missesM(times.vectors); // NaN where a time is none
    const auto wrong = [](double miss) { return miss > mattersM; };
    const auto first = std::find_if(misses.begin(), misses.end(), wrong);
    if (first == misses.end())
        return found;
    const auto at = static_cast<std::size_t>(first - misses.begin());
    std::ostringstream sentence;
    sentence << "state vectors disagree: positions and velocities of " << times.vectors[at].time
             << " and " << times.vectors[at + 1].time << " miss each other by "
             << std::setprecision(3) << *first << " m";
    if (const auto all = std::count_if(misses.begin(), misses.end(), wrong); all > 1)
        sentence << ", and so do " << all - 1 << " more pairs";
    return {sentence.str()};
}

} // namespace product
