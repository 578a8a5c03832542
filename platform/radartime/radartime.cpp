// SPDX-License-Identifier: MIT
#include "radartime/radartime.h"

#include "rf_constants.h"

#include <algorithm>
#include <chrono>

namespace {

using std::chrono::sys_days;

sys_days civilDay(int year, int month, int day) {
    const std::chrono::year_month firstOfMonth{std::chrono::year{year},
                                               std::chrono::month{static_cast<unsigned>(month)}};
    return sys_days{firstOfMonth / 1} + std::chrono::days{day - 1};
}

/// Days from whose 0 h UTC on the offset GPS - UTC is one second larger. Extend at the end.
const sys_days leapDays[] = {
    civilDay(1981, 7, 1), civilDay(1982, 7, 1), civilDay(1983, 7, 1), civilDay(1985, 7, 1),
    civilDay(1988, 1, 1), civilDay(1990, 1, 1), civilDay(1991, 1, 1), civilDay(1992, 7, 1),
    civilDay(1993, 7, 1), civilDay(1994, 7, 1), civilDay(1996, 1, 1), civilDay(1997, 7, 1),
    civilDay(1999, 1, 1), civilDay(2006, 1, 1), civilDay(2009, 1, 1), civilDay(2012, 7, 1),
    civilDay(2015, 7, 1), civilDay(2017, 1, 1),
};

} // namespace

int dayOfYear(int year, int month, int day) {
    return static_cast<int>((civilDay(year, month, day) - civilDay(year, 1, 1)).count()) + 1;
}

double timeHMSToSecs(int hour, int minute, double seconds) {
    return (hour * 60 + minute) * 60 + seconds;
}

double timeDMYHMStoGpsSeconds(int day, int month, int year, int hour, int minute, double seconds) {
    const sys_days date = civilDay(year, month, day);
    const auto leapSeconds =
        std::upper_bound(std::begin(leapDays), std::end(leapDays), date) - std::begin(leapDays);
    const auto wholeSeconds =
        (date - civilDay(1980, 1, 6)).count() * static_cast<long>(constants::secondsPerDay) + static_cast<long>(leapSeconds);
    return static_cast<double>(wholeSeconds) + timeHMSToSecs(hour, minute, seconds);
}
