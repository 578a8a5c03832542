#include "product/checks/time_checks.h"

#include "product/families/document_text.h"

#include <algorithm>
#include <cmath>

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
    for (const std::string& text : times.vectors) {
        requireReadable(text, "a state vector's time", found);
        at.push_back(gpsSecondsOf(text));
        if (at.size() > 1 && at.back() <= at[at.size() - 2])
            found.push_back("state vectors are out of order: " + text + " follows " +
                            times.vectors[at.size() - 2]);
    }
    const auto [begin, end] = std::minmax_element(at.begin(), at.end());
    if (at.size() < 2 || !std::all_of(at.begin(), at.end(), [](double s) { return s == s; }))
        return;
    // Real products reach up to a vector's interval beyond their vectors.
    const double reach = (*end - *begin) / static_cast<double>(at.size() - 1) + roundingS;
    if (std::min(times.firstS, times.lastS) < *begin - reach ||
        std::max(times.firstS, times.lastS) > *end + reach)
        found.push_back("the image's lines, from " + times.first +
                        ", leave the time of its state vectors, " + times.vectors.front() + " to " +
                        times.vectors.back());
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

} // namespace product
