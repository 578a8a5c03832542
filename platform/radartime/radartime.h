// SPDX-License-Identifier: MIT
#pragma once

#include "rf_platform_api.h"

/// Time scales for radar products; docs/coordinates.md defines them. Gregorian dates, any thread.

/// @return day of the year, 1..366, of a Gregorian date; months count from 1.
RF_PLATFORM_API int dayOfYear(int year, int month, int day);

/// @return seconds since 0 h of the day; seconds carry the fraction.
RF_PLATFORM_API double timeHMSToSecs(int hour, int minute, double seconds);

/// GPS seconds of a UTC date and time: SI seconds since 1980-01-06 0 h UTC, leap seconds counted.
/// A time inside a leap second is written 23:59:60. Dates before 1980-07 count no leap second;
/// dates after the last entry of the table (2017-01-01, 18 s) keep its offset.
/// Accuracy: the double's own, 2e-7 s in this century.
/// Source: IERS Bulletin C; offset 0 at the GPS epoch.
RF_PLATFORM_API double timeDMYHMStoGpsSeconds(int day, int month, int year, int hour, int minute,
                                              double seconds);
