// SPDX-License-Identifier: MIT
#include "product/bursts/burst_times.h"

#include "product/bursts/burst_grid.h"
#include "product/families/document_text.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <optional>

namespace product {
namespace {

using Microseconds = std::chrono::microseconds;
using Instant = std::chrono::sys_time<Microseconds>;

/// UTC without leap seconds: an image is near one at most once in years.
std::optional<Instant> instantOf(const std::string& time) {
    int year = 0;
    unsigned month = 0, day = 0;
    if (std::isnan(gpsSecondsOf(time)) ||
        std::sscanf(time.c_str(), "%4d-%2u-%2u", &year, &month, &day) != 3)
        return std::nullopt;
    const std::chrono::sys_days date =
        std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(day);
    return date + Microseconds(std::llround(secondsOfDayOf(time) * 1e6));
}

std::string textOf(const Instant& instant) {
    const auto date = std::chrono::floor<std::chrono::days>(instant);
    const std::chrono::year_month_day day(date);
    const std::chrono::hh_mm_ss clock(instant - date);
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%06dZ", int(day.year()),
                  unsigned(day.month()), unsigned(day.day()), int(clock.hours().count()),
                  int(clock.minutes().count()), int(clock.seconds().count()),
                  int(clock.subseconds().count()));
    return text;
}

} // namespace

BurstTimes timesOf(const StatedProduct& stated, const StatedBurst& burst) {
    const StatedTimes times = stated.times();
    const auto first = instantOf(times.first), last = instantOf(times.last);
    const std::uint32_t lines = BurstGrid(stated.bursts()).lines();
    if (!first || !last || lines < 2)
        return {};
    const double interval = static_cast<double>((*last - *first).count()) / (lines - 1);
    const auto at = [&](std::int64_t line) {
        return *first + Microseconds(std::llround(interval * static_cast<double>(line)));
    };
    const auto [start, stop] = std::minmax({at(burst.lineOffset), at(burst.endLine() - 1)});
    return {textOf(start), textOf(stop)};
}

} // namespace product
