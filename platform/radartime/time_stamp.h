// SPDX-License-Identifier: MIT
#pragma once

#include "radartime/radartime.h"

#include <optional>
#include <string_view>

/// A moment as a product writes it, "2022-06-05T07:03:17.687819Z": UTC, Gregorian. A value.
struct TimeStamp {
    int year = 0;
    int month = 0; ///< 1..12
    int day = 0;   ///< 1..31
    int hour = 0;
    int minute = 0;
    double seconds = 0; ///< below 61; every digit of the text counts

    /// s since 0 h of the day.
    double secondsOfDay() const { return timeHMSToSecs(hour, minute, seconds); }
    int dayOfYear() const { return ::dayOfYear(year, month, day); }
    /// GPS seconds (radartime/radartime.h), to 2e-7 s.
    double gpsSeconds() const {
        return timeDMYHMStoGpsSeconds(day, month, year, hour, minute, seconds);
    }
};

/// Reads date, "T", time of day with any number of fraction digits, and a zone or none.
/// Kept: a zone may stand there ("Z", "UTC", "+02:00") and does not shift the time.
/// (TimeStamp.ReadsEveryDigit)
/// @return nullopt when the text is anything else or no such day or time exists. Never throws.
RF_PLATFORM_API std::optional<TimeStamp> parseTimeStamp(std::string_view text);

/// The same for texts that always end with a one-letter zone.
/// Kept: the last character is dropped whatever it is, so that a text without a zone loses its
/// last digit. (TimeStamp.LastCharacterIsTakenForTheZone)
RF_PLATFORM_API std::optional<TimeStamp> parseTimeStampWithZone(std::string_view text);
