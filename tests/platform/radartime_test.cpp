// SPDX-License-Identifier: MIT
#include "radartime/radartime.h"

#include <gtest/gtest.h>

TEST(RadarTime, GpsSecondsCountLeapSeconds) {
    const auto midnight = [](int year, int month, int day) {
        return timeDMYHMStoGpsSeconds(day, month, year, 0, 0, 0.0);
    };
    EXPECT_EQ(midnight(1980, 1, 6), 0);
    EXPECT_EQ(midnight(1980, 1, 5), -86400);
    EXPECT_EQ(midnight(1981, 7, 1) - midnight(1981, 6, 30), 86401);
    EXPECT_EQ(midnight(2000, 1, 1), 630720000 + 13);  // 7300 days
    EXPECT_EQ(midnight(2017, 1, 1), 1167264000 + 18); // 13510 days
    EXPECT_EQ(timeDMYHMStoGpsSeconds(31, 12, 2016, 23, 59, 60.5), 1167264017.5);
    EXPECT_EQ(timeDMYHMStoGpsSeconds(30, 4, 2017, 8, 42, 53.25),
              1167264018 + 119 * 86400.0 + 31373.25);
}

TEST(RadarTime, DayOfYearFollowsTheGregorianLeapRule) {
    EXPECT_EQ(dayOfYear(2023, 1, 1), 1);
    EXPECT_EQ(dayOfYear(2024, 2, 29), 60);
    EXPECT_EQ(dayOfYear(2024, 12, 31), 366);
    EXPECT_EQ(dayOfYear(1900, 3, 1), 60);
    EXPECT_EQ(dayOfYear(2000, 3, 1), 61);
}
