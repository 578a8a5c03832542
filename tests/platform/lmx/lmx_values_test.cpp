// SPDX-License-Identifier: MIT
#include "lmx/lmx.h"

#include <chrono>
#include <cmath>
#include <gtest/gtest.h>
#include <set>

using lmx::c_big_int;
using lmx::c_datetime;
using lmx::elmx_error;

TEST(LmxDateTime, KeepsEveryDigitAndEveryPart) {
    const auto time = c_datetime::from_string("2017-04-30T08:42:53.123456789012345678Z");
    ASSERT_TRUE(time);
    EXPECT_EQ(time->as_string(), "2017-04-30T08:42:53.123456789012345678Z");
    EXPECT_EQ(time->get_year() * 10000 + time->get_month() * 100 + time->get_day(), 20170430);
    EXPECT_EQ(time->get_hour() * 100 + time->get_minute(), 842);
    EXPECT_EQ(time->get_second(), 53.123456789012345678);
    const auto nines = c_datetime::from_string("2017-04-30T08:42:59." + std::string(30, '9') + "Z");
    EXPECT_LT(nines->get_second(), 60.0);
    EXPECT_GT(nines->get_second(), 59.9999999999999);
}

TEST(LmxDateTime, TakesValidDatesOnly) {
    for (const char* good : {"2016-02-29T00:00:00", "2000-02-29T23:59:59.999+14:00",
                             "2017-12-31T24:00:00.000Z", "0001-01-01T00:00:00-00:30"})
        EXPECT_TRUE(c_datetime::from_string(good)) << good;
    for (const char* bad : {"",
                            "2017",
                            "2017-02-29T00:00:00Z",
                            "1900-02-29T00:00:00Z",
                            "2017-04-31T00:00:00Z",
                            "2017-00-01T00:00:00Z",
                            "2017-01-00T00:00:00Z",
                            "0000-01-01T00:00:00Z",
                            "2017-04-30T24:00:00.1Z",
                            "2017-04-30T23:60:00Z",
                            "2016-12-31T23:59:60Z",
                            "2017-04-30T08:42:53.Z",
                            "2017-04-30T08:42:53+14:01",
                            "2017-04-30T08:42:53+1:00",
                            "2017-04-30T08:42:53ZZ",
                            "2017-04-30 08:42:53Z",
                            "+017-04-30T08:42:53Z",
                            "12017-04-30T08:42:53Z",
                            "2017-04-30T08:42Z",
                            "2017-04-30T08:42:53.1e1Z"})
        EXPECT_FALSE(c_datetime::from_string(bad)) << bad;
}

TEST(LmxBigInt, ComparesNumbersOfAnySize) {
    const auto number = [](std::string_view text) { return *c_big_int::from_string(text); };
    EXPECT_EQ(number("+0008"), c_big_int(8));
    EXPECT_EQ(number("-0"), c_big_int(0));
    EXPECT_LT(number("-9223372036854775809"), c_big_int(INT64_MIN));
    EXPECT_GT(number("9223372036854775808"), c_big_int(INT64_MAX));
    EXPECT_EQ(number("000100000000000000000000000001"), number("100000000000000000000000001"));
    EXPECT_EQ(number("-0100000000000000000000000001").as_string(), "-100000000000000000000000001");
    EXPECT_EQ(number("100000000000000000000").as_int64(), INT64_MAX);

    auto copy = number("100000000000000000000");
    const auto original = copy;
    copy = c_big_int(1);
    EXPECT_EQ(original, number("100000000000000000000"));

    for (const char* bad : {"", "-", "+", "-+1", "1.0", "0x1", " 1", "1e3"})
        EXPECT_FALSE(c_big_int::from_string(bad)) << bad;
    EXPECT_FALSE(c_big_int::from_string(std::string(c_big_int::maxDigits + 1, '9')));
}

TEST(LmxPattern, TakesTimeLinearInTheText) {
    // A matcher that tries all ways to share the text between the two parts would never return.
    const lmx::c_pattern pattern("([0-9A-Za-z_ \\.\\-]+)+([a-z]*)*!");
    const auto began = std::chrono::steady_clock::now();
    EXPECT_FALSE(pattern.matches(std::string(1 << 20, 'a')));
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(10));
    EXPECT_TRUE(lmx::c_pattern("[a-z]+").matches("abc"));
    EXPECT_FALSE(lmx::c_pattern("[a-z]+").matches("abc\n"));
}

TEST(LmxDouble, ReadsWhatTheSchemaAllowsAndWritesItBack) {
    const lmx::s_simple_type any;
    const auto parse = [&](std::string_view text) {
        double value = 42;
        return lmx::parse_value(text, any, value) == elmx_error::ok ? value : 42;
    };
    EXPECT_EQ(parse(" +1.5e3\n"), 1500);
    EXPECT_EQ(parse("-.5"), -0.5);
    EXPECT_EQ(parse("1e999"), INFINITY);
    EXPECT_EQ(parse("-1e-999"), 0);
    for (const char* bad :
         {"", " ", "inf", "nan", "+INF", "0x10", "1.5.", "1,5", "1 2", "e5", "+-1"})
        EXPECT_EQ(parse(bad), 42) << bad;
    for (const double value : {0.1, -1.0 / 3, 5e-324, 1.7976931348623157e308, double(-INFINITY)})
        EXPECT_EQ(parse(lmx::format_value(value)), value);
    EXPECT_TRUE(std::isnan(parse(lmx::format_value(double(NAN)))));
}

TEST(LmxError, EveryCodeHasItsOwnDescription) {
    std::set<std::string> texts;
    const std::string unknown = lmx::get_error_description(elmx_error(1000));
    int described = 0;
    for (int code = 0; code < 100; ++code)
        if (const std::string text = lmx::get_error_description(elmx_error(code));
            text != unknown) {
            texts.insert(text);
            ++described;
        }
    EXPECT_EQ(texts.size(), described);
    for (const int code : {3, 19, 21, 22, 25, 28, 35, 43})
        EXPECT_NE(lmx::get_error_description(elmx_error(code)), unknown) << code;
}
