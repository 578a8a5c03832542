// SPDX-License-Identifier: MIT
#include "jsonlib/jsonlib.h"

#include "kerr/kerr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <locale>

using testing::ElementsAre;
using testing::HasSubstr;
using tolvan::jsonlib::Reader;
using tolvan::jsonlib::Value;

namespace {

Value parsed(std::string_view text) {
    Reader reader;
    Value value;
    EXPECT_TRUE(reader.parse(text, value, true)) << reader.formattedErrorMessages();
    return value;
}

std::string complaint(std::string_view text) {
    Reader reader;
    Value value = parsed("[1]");
    EXPECT_FALSE(reader.parse(text, value, true)) << text;
    EXPECT_TRUE(value.isNull());
    return reader.formattedErrorMessages();
}

} // namespace

TEST(Json, LookUpsThatFindNothingAreNullAndConversionsThatDoNotFitThrow) {
    Value item;
    {
        const Value document =
            parsed("\xEF\xBB\xBF{ // an item\r\n \"properties\": {\"type\": \"SLC\", \"é\": "
                   "\"\\ud83d\\udef0\", \"pole\": [\"HH\", \"VV\"], \"none\": null}}\r\n");
        item = document["properties"]; // outlives the document it came from
    }
    EXPECT_TRUE(item.isMember("none"));
    EXPECT_FALSE(item.isMember("missing"));
    EXPECT_TRUE(item["missing"]["deeper"][3].isNull());
    EXPECT_TRUE(item["type"]["x"].isNull());
    EXPECT_TRUE(item["pole"][2].isNull());
    EXPECT_EQ(item["pole"].elements().at(1).asString(), "VV");
    EXPECT_THAT(item.memberNames(), ElementsAre("none", "pole", "type", "é"));
    EXPECT_EQ(item["é"].asString(), "\xF0\x9F\x9B\xB0");
    EXPECT_THROW(item["pole"].asString(), TolvanLog::Exception);
    EXPECT_THROW(item["none"].asDouble(), TolvanLog::Exception);
    EXPECT_THROW(item["type"].asInt64(), TolvanLog::Exception);
    EXPECT_THROW(parsed("[\"\\udc00\"]")[0].asString(), TolvanLog::Exception);
    EXPECT_THAT(parsed("// kept\n{}").comment(), HasSubstr("kept"));
}

TEST(Json, NumbersKeepTheirValueOrThrow) {
    const Value numbers =
        parsed("[0.1, -0.0, 5e-324, 9223372036854775807, 9223372036854775808, 1.5, 3.0, 1e-400]");
    EXPECT_EQ(numbers[0].asDouble(), 0.1);
    EXPECT_TRUE(std::signbit(numbers[1].asDouble()));
    EXPECT_EQ(numbers[2].asDouble(), std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(numbers[3].asInt64(), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(numbers[4].asDouble(), 9223372036854775808.0);
    EXPECT_THROW(numbers[4].asInt64(), TolvanLog::Exception);
    EXPECT_THROW(numbers[5].asInt64(), TolvanLog::Exception);
    EXPECT_EQ(numbers[6].asInt64(), 3);
    EXPECT_EQ(numbers[7].asDouble(), 0.0);
}

TEST(Json, NumbersAreTheSameInEveryLocale) {
    struct German : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new German));
    for (const auto& [text, value] :
         {std::pair{"1.500", 1.5}, {"-0.0625", -0.0625}, {"12.5e3", 12500.}, {"-1.25E-2", -0.0125},
          {"6378137.000", 6378137}, {"7.0e+0", 7}, {"0.1", 0.1}, {"1234567", 1234567},
          {"2.2250738585072014e-308", 2.2250738585072014e-308}})
        EXPECT_EQ(parsed(std::string("[\"1.5\\\"\", /* \" */ ") + text + "] // \" 1.5")[1].asDouble(),
                  value)
            << text;
    for (const char* wrong : {"[1.]", "[1.e5]", "[1e]", "[-]", "[1.5.5]", "[1e5.5]", "[1,5"})
        complaint(wrong);
    std::locale::global(before);
}

TEST(Json, BrokenTextIsRefusedWithAReason) {
    EXPECT_THAT(complaint("{\"a\": 1,\r\n \"b\": }"), HasSubstr("Line 2"));
    EXPECT_THAT(complaint("{\"a\": 1, \"a\": 2}"), HasSubstr("Duplicate"));
    EXPECT_THAT(complaint("caf\xE9"), HasSubstr("UTF-8"));
    for (const char* text :
         {"", " ", "\xEF\xBB\xBF", "{} {}", "[1,]", "[1", "{\"a\" 1}", "[NaN]", "[Infinity]", "'a'",
          "\"\\u12\"", "\"\\ud800\"", "/* open", "01x", "1e400"})
        EXPECT_FALSE(complaint(text).empty()) << text;

    Reader reader;
    Value value;
    EXPECT_FALSE(reader.parse(std::u16string(1, char16_t(0xD83D)), value, true));
    EXPECT_TRUE(reader.parse(u"\uFEFF[\"é\"]", value, true));
    EXPECT_TRUE(reader.formattedErrorMessages().empty());
}

TEST(Json, DepthIsBoundedAndExact) {
    const auto nested = [](std::size_t depth, std::string_view open, std::string_view close) {
        std::string text;
        for (std::size_t i = 0; i < depth; ++i)
            text += open;
        text += "1";
        for (std::size_t i = 0; i < depth; ++i)
            text += close;
        return text;
    };
    EXPECT_TRUE(parsed(nested(Reader::maxDepth, "[", "]")).isArray());
    EXPECT_THAT(complaint(nested(Reader::maxDepth + 1, "[", "]")), HasSubstr("nested deeper"));
    EXPECT_THAT(complaint(nested(1'000'000, "{\"a\":", "}")), HasSubstr("nested deeper"));
    EXPECT_THAT(complaint(std::string(1'000'000, '[')), HasSubstr("nested deeper"));
}

TEST(Json, QuotedTextsReadBackToTheSame) {
    std::string all = "\xC3\xA9\xF0\x9F\x9B\xB0"; // é and a satellite stay as they are
    EXPECT_EQ(tolvan::jsonlib::quoted(all), '"' + all + '"');
    for (char c = 0; c < 0x7F; ++c)
        all += c;
    EXPECT_EQ(parsed(tolvan::jsonlib::quoted(all)).asString(), all);
    EXPECT_EQ(tolvan::jsonlib::quoted("\"\\/\n\x1f"), R"("\"\\/\n\u001f")");
    EXPECT_THROW(tolvan::jsonlib::quoted("\xFF"), std::exception);
}
