// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

#include <optional>
#include <string>
#include <string_view>

namespace lmx {

/// A date and time of day as a document states it, e.g. 2017-04-30T08:42:53.012345Z: the Gregorian
/// calendar, years 1 to 9999, every digit of the fraction kept. No leap second: second 60 is no
/// valid time. 24:00:00 is, as the end of its day. A value; different objects on different threads.
class RF_PLATFORM_API c_datetime {
public:
    c_datetime() = default; ///< no date: year 0, and an empty text

    /// @param text  yyyy-mm-ddThh:mm:ss, optionally a fraction, optionally a zone (Z or +hh:mm).
    /// @return nullopt when the text has another form or names no valid date, time or zone.
    static std::optional<c_datetime> from_string(std::string_view text);
    /// The text that it was made from.
    const std::string& as_string() const { return text_; }

    int get_year() const { return year_; }
    int get_month() const { return month_; }
    int get_day() const { return day_; }
    int get_hour() const { return hour_; }
    int get_minute() const { return minute_; }
    /// With the fraction, rounded to the nearest double below 60.
    double get_second() const { return second_; }

    /// Same text; 12:00Z and 12:00:00.0Z differ.
    bool operator==(const c_datetime&) const = default;

private:
    std::string text_;
    double second_ = 0;
    short year_ = 0;
    signed char month_ = 0, day_ = 0, hour_ = 0, minute_ = 0;
};

} // namespace lmx
