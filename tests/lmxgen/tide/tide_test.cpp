// SPDX-License-Identifier: MIT
#include "tide.h"

#include <gtest/gtest.h>

using lmx::elmx_error;
using namespace tide;

namespace {

const std::string document = R"(<station xmlns="urn:example:tide-gauges" version="1.0">
  <call-sign> KB-017é </call-sign>
  <datum>mean sea level</datum>
  <value>1</value><values>2</values><values>3</values>
  <sea-floor>-10994</sea-floor>
  <surveyed>1999-12-31T23:59:59Z</surveyed><surveyed>2020-02-29T00:00:00Z</surveyed>
  <months>1 12</months>
  <flags/>
  <sounded>true</sounded><sounded>0</sounded>
  <depth>65535</depth><depth>0</depth>
  <water units="PSU" method="titration" deviation="0">44.9</water>
  <gauge><height>1.5</height></gauge><buoy><drift>2</drift></buoy><gauge><height>3</height></gauge>
  <neighbour version="1.0">
    <call-sign>KB-018</call-sign><datum>chart</datum><value>1</value><sea-floor>0</sea-floor>
    <surveyed>2000-01-01T00:00:00Z</surveyed><months>6</months><flags>1 false</flags>
    <water units="PSU" method="titration">1</water>
  </neighbour>
</station>)";

c_station bound(const std::string& text, std::string& message) {
    message.clear();
    elmx_error error;
    return c_station(text.data(), text.size(), error, [&](const lmx::s_error& each) {
        message = std::to_string(static_cast<int>(each.code)) + " " + each.element;
        return each.code;
    });
}

std::string canonical(const c_station& station) {
    lmx::c_xml_writer writer(lmx::c_xml_writer::e_style::canonical);
    EXPECT_EQ(station.marshal(writer, "station"), elmx_error::ok);
    return writer.document();
}

} // namespace

TEST(TideBinding, ReadsAndWritesEveryMember) {
    std::string message;
    const c_station station = bound(document, message);
    ASSERT_EQ(message, "");
    EXPECT_EQ(station.get_call_sign(), "KB-017\u00E9");
    EXPECT_EQ(station.getenum_datum(), e_mean_sea_level);
    EXPECT_EQ(station.get_value() + station.get_values(0) + station.get_values(1), 6);
    EXPECT_EQ(station.get_surveyed(1).get_day(), 29);
    EXPECT_EQ(station.get_months(1), 12);
    EXPECT_EQ(station.size_flags(), 0u);
    EXPECT_TRUE(station.get_sounded(0));
    EXPECT_FALSE(station.back_sounded());
    EXPECT_EQ(station.get_depth(0), 65535);
    EXPECT_EQ(station.get_water().get_method(), "titration");
    ASSERT_EQ(station.size_readings(), 3u);
    EXPECT_EQ(station.get_readings(1).getchosen(), c_station::c_readings::e_buoy);
    EXPECT_EQ(station.get_readings(2).get_gauge().get_height(0), 3);
    ASSERT_EQ(station.size_neighbour(), 1u);
    EXPECT_TRUE(station.get_neighbour(0).get_flags(0));

    const c_station again = bound(canonical(station), message);
    EXPECT_EQ(message, "");
    EXPECT_EQ(canonical(again), canonical(station));
}

TEST(TideBinding, RefusesWhatEachFacetRefuses) {
    const struct {
        const char *from, *to, *message;
    } cases[] = {
        {"KB-017", "KB-17", "22 tg:call-sign"},
        {"17\u00E9", "17\u00E9\u00E9", "22 tg:call-sign"}, // one character, not one byte
        {"mean sea", "mean  sea", "23 tg:datum"},
        {"-10994", "-11001", "24 tg:sea-floor"},
        {"-10994", "-99999999999999999999", "24 tg:sea-floor"},
        {"-10994", "1", "24 tg:sea-floor"},
        {"1999-12-31", "1999-12-32", "35 tg:surveyed"},
        {"1 12", "1 13", "24 tg:months"},
        {"1 12", "1 2 3 4 5 6 7 8 9 10 11 12 1", "27 tg:months"},
        {"<flags/>", "<flags>2</flags>", "35 tg:flags"},
        {"<sounded>0", "<sounded>true</sounded><sounded>0", "31 tg:sounded"},
        {"65535", "65536", "24 tg:depth"},
        {"44.9", "45", "24 tg:water"},
        {"44.9", "0", "24 tg:water"},
        {"deviation=\"0\"", "deviation=\"-1\"", "24 tg:water"},
        {"titration", "taste", "43 tg:water"},
        {"1.0", "1.1", "43 tg:station"},
        {"<gauge>", "<gauge/><gauge>", "21 tg:height"},
        {"<call-sign>KB-018</call-sign>", "", "21 tg:call-sign"},
    };
    for (const auto& each : cases) {
        std::string text = document, message;
        const std::string from = each.from;
        ASSERT_NE(text.find(from), std::string::npos) << from;
        bound(text.replace(text.find(from), from.size(), each.to), message);
        EXPECT_EQ(message, each.message) << each.to;
    }
}

TEST(TideBinding, IsBuiltFromNothing) {
    c_station station;
    EXPECT_EQ(station.set_version(), elmx_error::ok);
    EXPECT_EQ(station.set_call_sign("KB-001"), elmx_error::ok);
    EXPECT_TRUE(station.setenum_datum(e_chart));
    EXPECT_EQ(station.set_value(2), elmx_error::ok);
    EXPECT_EQ(station.set_sea_floor(1), elmx_error::valueOutOfRange);
    EXPECT_EQ(station.set_sea_floor(-1), elmx_error::ok);
    EXPECT_EQ(station.append_surveyed(*lmx::c_datetime::from_string("2000-01-01T00:00:00Z")),
              elmx_error::ok);
    EXPECT_EQ(station.append_months(13), elmx_error::valueOutOfRange);
    EXPECT_EQ(station.append_months(4), elmx_error::ok);
    EXPECT_EQ(station.append_sounded(true), elmx_error::ok);
    EXPECT_EQ(station.insert_sounded(0, false), elmx_error::ok);
    EXPECT_EQ(station.append_depth(7), elmx_error::ok);
    auto& water = station.get_water();
    EXPECT_EQ(water.set_water(45), elmx_error::valueOutOfRange);
    EXPECT_EQ(water.set_water(35), elmx_error::ok);
    water.set_units();
    water.set_method();
    station.append_readings().get_gauge().append_height(1);
    EXPECT_TRUE(station.is_occurs_ok());
    std::string message;
    const c_station again = bound(canonical(station), message);
    EXPECT_EQ(message, "");
    EXPECT_TRUE(again.back_sounded());
    EXPECT_FALSE(again.get_sounded(0));
    station.reset();
    EXPECT_EQ(station.size_values() + station.size_months() + station.size_readings(), 0u);
}
