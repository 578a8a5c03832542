// SPDX-License-Identifier: MIT
#include "rs2_lmx/source/rs2prod_lut.h"

#include <cmath>
#include <gtest/gtest.h>

using lmx::elmx_error;
using rs2prod_lut::c_lut;

namespace {

std::string lut(const std::string& attributes, const std::string& gains) {
    return "<lut " + attributes + "><offset>0.5</offset><gains>" + gains + "</gains></lut>";
}

c_lut bound(const std::string& document, elmx_error& error) {
    return c_lut(document.data(), document.size(), error);
}

const std::string space = "copyright='c' xmlns='http://www.rsi.ca/rs2/prod/xml/schemas'";

} // namespace

TEST(LutBinding, ReadsBothFormsOfTheNamespace) {
    auto error = elmx_error::ok;
    EXPECT_EQ(bound(lut(space, "1.5 2"), error).size_gains(), 2u);
    EXPECT_EQ(error, elmx_error::ok);
    EXPECT_EQ(bound(lut("copyright='c'", "1.5 2"), error).size_gains(), 2u);
    EXPECT_EQ(static_cast<int>(error), 19);
    EXPECT_EQ(bound(lut("copyright='c' xmlns='urn:other'", "1.5 2"), error).size_gains(), 0u);
    EXPECT_EQ(error, elmx_error::wrongRoot);
    bound("<lut copyright='c'><offset>1</offset><gains xmlns='urn:other'>1</gains></lut>", error);
    EXPECT_EQ(error, elmx_error::elementUnexpected);
    bound(lut("copyright='c'", "1.5 x"), error);
    EXPECT_EQ(error, elmx_error::valueInvalid);
}

TEST(LutBinding, ReadsEveryKindOfGain) {
    auto error = elmx_error::ok;
    const auto table = bound(lut(space, " 1.5\n-INF\tNaN  INF "), error);
    ASSERT_EQ(error, elmx_error::ok);
    EXPECT_EQ(table.get_offset(), 0.5);
    ASSERT_EQ(table.size_gains(), 4u);
    EXPECT_EQ(table.get_gains(0), 1.5);
    EXPECT_EQ(table.get_gains(1), -INFINITY);
    EXPECT_TRUE(std::isnan(table.get_gains(2)));
    EXPECT_EQ(table.back_gains(), INFINITY);
}

TEST(LutBinding, TakesNinetyThousandGainsAndNoMore) {
    std::string gains;
    for (int i = 0; i < 90000; ++i)
        gains += std::to_string(i) + ".25 ";
    auto error = elmx_error::ok;
    const auto table = bound(lut(space, gains), error);
    EXPECT_EQ(error, elmx_error::ok);
    EXPECT_EQ(table.size_gains(), 90000u);
    EXPECT_EQ(table.get_gains(89999), 89999.25);
    bound(lut(space, gains + "1"), error);
    EXPECT_EQ(error, elmx_error::lengthOutOfBounds);
    bound(lut(space, " "), error);
    EXPECT_EQ(error, elmx_error::lengthOutOfBounds);
}

TEST(LutBinding, IsWrittenWithTheNamespaceThatTheWriterHas) {
    auto error = elmx_error::ok;
    const auto table = bound(lut(space, "1.5 2"), error);
    lmx::c_xml_writer without;
    without.set_namespace({"", ""});
    ASSERT_EQ(table.marshal(without, "lut"), elmx_error::ok);
    EXPECT_NE(without.document().find("<lut copyright=\"c\">\n\t<offset>0.5<"), std::string::npos)
        << without.document();
    EXPECT_EQ(bound(without.document(), error).size_gains(), 2u);
    EXPECT_EQ(error, elmx_error::withoutNamespace);
}
