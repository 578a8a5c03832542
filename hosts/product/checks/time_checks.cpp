#include "product/checks/time_checks.h"

#include "product/radiometry/column_profile.h"
#include "radartime/radartime.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace product {
namespace {

using kfio::ProductTree;

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
constexpr double roundingS = 1e-3; ///< products round times and steps on their own

/// GPS seconds; NaN for a text that is no time. Zones stand there and do not shift it.
double secondsOf(const std::string& text) {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0;
    double seconds = 0;
    const int read = std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%lf", &year, &month, &day,
                                 &hour, &minute, &seconds);
    return read == 6 ? timeDMYHMStoGpsSeconds(day, month, year, hour, minute, seconds) : unknown;
}

/// The times that a document states, with the words of its family.
struct StatedTimes {
    std::string first, last; ///< of the image's lines, as they are written
    double firstS = unknown, lastS = unknown;
    std::string order; ///< "Increasing", "Decreasing" or ""
    std::vector<std::string> vectors;
};

void addVectors(const ProductTree& document, const char* path, const char* key,
                std::vector<std::string>& vectors) {
    if (const auto list = document.get_child_optional(path))
        for (const auto& [name, element] : *list)
            if (element.count(key) != 0)
                vectors.push_back(textAt(element, key));
}

StatedTimes timesOfXml(const ProductDocument& document) {
    const bool rcm = document.kind == ProductDocument::Kind::rcm;
    const std::string processing = "imageGenerationParameters/sarProcessingInformation/";
    StatedTimes times;
    times.first = textAt(document.root, processing + "zeroDopplerTimeFirstLine");
    times.last = textAt(document.root, processing + "zeroDopplerTimeLastLine");
    times.order =
        textAt(document.root, std::string(rcm ? "imageReferenceAttributes" : "imageAttributes") +
                                  "/rasterAttributes/lineTimeOrdering");
    times.firstS = secondsOf(times.first);
    times.lastS = secondsOf(times.last);
    addVectors(document.root, "sourceAttributes.orbitAndAttitude.orbitInformation", "timeStamp",
               times.vectors);
    return times;
}

double numberAt(const ProductDocument& document, const char* path) {
    const auto numbers = parseNumbers(textAt(document.extended, path), document.extendedFile);
    return numbers.size() == 1 ? numbers.front() : unknown;
}

/// Lines have times only where the image is in the radar's grid.
StatedTimes timesOfCapella(const ProductDocument& document) {
    StatedTimes times;
    times.first = textAt(document.extended, "collect/image/image_geometry/first_line_time");
    times.firstS = secondsOf(times.first);
    times.lastS = times.firstS + (numberAt(document, "collect/image/rows") - 1) *
                                     numberAt(document, "collect/image/image_geometry/"
                                                        "delta_line_time");
    addVectors(document.extended, "collect.state.state_vectors", "time", times.vectors);
    return times;
}

void requireReadable(const std::string& text, const char* what, std::vector<std::string>& found) {
    if (!text.empty() && std::isnan(secondsOf(text)))
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
        at.push_back(secondsOf(text));
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

void checkCollect(const ProductDocument& document, const StatedTimes& times,
                  std::vector<std::string>& found) {
    const std::string start = textAt(document.extended, "collect/start_timestamp");
    const std::string stop = textAt(document.extended, "collect/stop_timestamp");
    requireReadable(start, "the collect's start", found);
    requireReadable(stop, "the collect's stop", found);
    const double startS = secondsOf(start), stopS = secondsOf(stop);
    if (stopS < startS)
        found.push_back("the collect stops at " + stop + ", before its start at " + start);
    else if (std::min(times.firstS, times.lastS) < startS - roundingS ||
             std::max(times.firstS, times.lastS) > stopS + roundingS)
        found.push_back("the image's lines, from " + times.first + ", leave the collect, " + start +
                        " to " + stop);
}

} // namespace

std::vector<std::string> timeContradictions(const ProductDocument& document) {
    const bool capella = document.kind == ProductDocument::Kind::capella;
    const StatedTimes times = capella ? timesOfCapella(document) : timesOfXml(document);
    std::vector<std::string> found;
    checkLines(times, found);
    checkOrbit(times, found);
    if (capella)
        checkCollect(document, times, found);
    return found;
}

} // namespace product
