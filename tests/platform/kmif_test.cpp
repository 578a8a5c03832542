// SPDX-License-Identifier: MIT
#include "kmif/kmif_node.h"

#include "jsonlib/jsonlib.h"
#include "kmif/kmif_design.h"
#include "ktxt/ktxt.h"
#include "sarm/sarm_nodes.h"

#include <records/calibration_lut_record.h>
#include <records/doppler_rate_record.h>
#include <records/sar_metadata_record.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

using testing::HasSubstr;
using tolvan::jsonlib::Reader;
using tolvan::jsonlib::Value;

namespace {

struct Destroy {
    void operator()(KmifDesign* design) const { kmif_DesignDestroy(design); }
    void operator()(KmifDictionary* dictionary) const { kmif_DictionaryDestroy(dictionary); }
};
using Design = std::unique_ptr<KmifDesign, Destroy>;
using Dictionary = std::unique_ptr<KmifDictionary, Destroy>;

Design makeDesign(std::initializer_list<KmifField> fields, KERR_REPORT** slot = nullptr) {
    return Design(kmif_DesignCreate(nullptr, "Test", fields, slot));
}

/// The calibration design as the RADARSAT-2 reader makes it.
Design makeCalibrationDesign(KmifDictionary* dictionary = nullptr) {
    return Design(kmif_DesignCreate(dictionary, "Rs2_Calibration",
                                    {{14, "lutBetaOffset"},
                                     {526, "lutBeta"},
                                     {14, "lutSigmaOffset"},
                                     {526, "lutSigma"},
                                     {14, "lutGammaOffset"},
                                     {526, "lutGamma"}}));
}

Value parsed(const std::string& json) {
    Reader reader;
    Value value;
    EXPECT_TRUE(reader.parse(json, value, false)) << reader.formattedErrorMessages() << json;
    return value;
}

struct Doubles {
    std::int32_t count;
    double* values;
};

/// Every byte of the record differs from its neighbours, so that a misplaced field shows.
SarMetadataRecord numberedRecord(std::vector<double>& vectors) {
    SarMetadataRecord record;
    unsigned char bytes[sizeof record];
    for (std::size_t i = 0; i < sizeof bytes; ++i)
        bytes[i] = static_cast<unsigned char>(1 + i % 61);
    std::memcpy(&record, bytes, sizeof record);
    std::memcpy(record.sensorCode, "F\0xy", 4);
    StateVectorComponent* components = &record.stateVectorXPosition;
    for (int i = 0; i < 6; ++i)
        components[i] = {5, 0, vectors.data() + 5 * i};
    return record;
}

} // namespace

TEST(SelfDescribingRecord, DesignsPlaceTheirFieldsAsTheCompilerDoes) {
    const auto offset = [](const Design& design, std::string_view name) {
        for (const auto& field : design->fields) {
            if (field.name == name)
                return field.offset;
        }
        return std::size_t{999999};
    };
    const Design sar(sarm_GetSarMetadataKmifDesign());
    ASSERT_TRUE(sar);
    EXPECT_EQ(kmif_DesignSize(sar.get()), sizeof(SarMetadataRecord));
#define EXPECT_PLACED(design, type, field) EXPECT_EQ(offset(design, #field), offsetof(type, field))
    EXPECT_PLACED(sar, SarMetadataRecord, sensorCode);
    EXPECT_PLACED(sar, SarMetadataRecord, numberOfLines);
    EXPECT_PLACED(sar, SarMetadataRecord, stateVectorFirstTime);
    EXPECT_PLACED(sar, SarMetadataRecord, azimuthWindowCoefficient);
    EXPECT_PLACED(sar, SarMetadataRecord, dopplerCentroid);
    EXPECT_PLACED(sar, SarMetadataRecord, sampledPixelSpacing);
    EXPECT_PLACED(sar, SarMetadataRecord, stateVectorZVelocity);
    EXPECT_PLACED(sar, SarMetadataRecord, imageWindowValid);
    EXPECT_PLACED(sar, SarMetadataRecord, lineCount);

    const Design doppler(sarm_GetDopplerRateKmifDesign());
    ASSERT_TRUE(doppler);
    EXPECT_EQ(kmif_DesignSize(doppler.get()), sizeof(DopplerRateRecord));
    EXPECT_PLACED(doppler, DopplerRateRecord, rateTimes);
    EXPECT_PLACED(doppler, DopplerRateRecord, rateCoefficientTotal);
    EXPECT_PLACED(doppler, DopplerRateRecord, centroidTimeCount);
    EXPECT_PLACED(doppler, DopplerRateRecord, centroidCoefficients);

    const Design luts = makeCalibrationDesign();
    EXPECT_EQ(kmif_DesignSize(luts.get()), sizeof(CalibrationLutRecord));
    EXPECT_EQ(offset(luts, "lutGamma"), offsetof(CalibrationLutRecord, gammaCount));

    struct Mixed {
        char text[3];
        std::uint32_t word;
        DopplerPolynomial nested;
        char tail[5];
    };
    const Design inner = makeDesign({{14, "a"}, {526, "b"}, {kmifInline + 14, "c", 6}});
    const Design mixed = makeDesign({{kmifText, "text", 3},
                                     {kmifUint32, "word"},
                                     {kmifNested, "nested", 1, inner.get()},
                                     {kmifPadding, "tail", 5}});
    EXPECT_PLACED(mixed, Mixed, word);
    EXPECT_PLACED(mixed, Mixed, nested);
    EXPECT_PLACED(mixed, Mixed, tail);
    EXPECT_EQ(kmif_DesignSize(mixed.get()), sizeof(Mixed));
#undef EXPECT_PLACED
}

TEST(SelfDescribingRecord, SarMetadataPrintsFromItsDesignAlone) {
    std::vector<double> vectors(30);
    for (std::size_t i = 0; i < vectors.size(); ++i)
        vectors[i] = -7e6 + 1234.567891 * static_cast<double>(i);
    const SarMetadataRecord record = numberedRecord(vectors);
    KmifNode node;
    kerr::Slot slot;
    {
        const Design design(sarm_GetSarMetadataKmifDesign());
        sarm_CreateMIFNode(&record, design.get(), nullptr, &node, nullptr, nullptr, nullptr, slot);
    }
    ASSERT_FALSE(slot.get()) << kerr_Text(slot.get());
    const auto original = vectors;
    std::fill(vectors.begin(), vectors.end(), 0.0); // the node must not look there any more

    const std::string json = kmif_NodeToJson(node);
    const Value data = parsed(json);
    const auto* bytes = reinterpret_cast<const std::byte*>(&record);
    std::size_t next = 0; // the member names appear in the record's order
    for (const auto& field : node.design()->fields) {
        SCOPED_TRACE(field.name);
        ASSERT_EQ(data.isMember(field.name), field.isShown());
        if (!field.isShown())
            continue;
        const auto at = json.find("\n  \"" + field.name + "\": ");
        ASSERT_NE(at, std::string::npos);
        EXPECT_GE(at, next);
        next = at;
        if (field.code == kmifInt32) {
            std::int32_t value;
            std::memcpy(&value, bytes + field.offset, sizeof value);
            EXPECT_EQ(data[field.name].asInt64(), value);
        } else if (field.code == kmifFloat64) {
            double value;
            std::memcpy(&value, bytes + field.offset, sizeof value);
            EXPECT_EQ(data[field.name].asDouble(), value);
        }
    }
    EXPECT_EQ(data.size(), 57U); // 62 members of the record, less 4 paddings and the model area
    EXPECT_EQ(data["sensorCode"].asString(), "F");
    EXPECT_EQ(data["groundToSlantRangeCoefficients"][5].asDouble(),
              record.groundToSlantRangeCoefficients[5]);
    ASSERT_EQ(data["dopplerCentroid"].size(), 2U);
    const Value second = data["dopplerCentroid"][1];
    EXPECT_EQ(second.size(), 4U);
    EXPECT_EQ(second["referenceTime"].asDouble(), record.dopplerCentroid[1].referenceTime);
    EXPECT_EQ(second["numberOfCoefficients"].asInt64(),
              record.dopplerCentroid[1].numberOfCoefficients);
    EXPECT_EQ(second["coefficients"][5].asDouble(), record.dopplerCentroid[1].coefficients[5]);
    EXPECT_EQ(data["stateVectorZVelocity"].size(), 5U);
    EXPECT_EQ(data["stateVectorZVelocity"][4].asDouble(), original[29]);

    const auto* copy = static_cast<const SarMetadataRecord*>(node.data());
    EXPECT_EQ(std::memcmp(copy->modelArea, record.modelArea, sizeof record.modelArea), 0);
    EXPECT_EQ(copy->stateVectorXPosition.values[4], original[4]);

    KmifNode again;
    ASSERT_TRUE(kmif_NodeFromText(kmif_NodeToText(node), &again, slot)) << kerr_Text(slot.get());
    EXPECT_EQ(kmif_NodeToText(again), kmif_NodeToText(node));
}

TEST(SelfDescribingRecord, DopplerAndCalibrationTellCountsAndTables) {
    double time[] = {0.005}, rate[] = {-1850.5, 2.5e5}, none[] = {0};
    DopplerRateRecord record{};
    record.rateEstimateCount = record.rateTimeCount = record.rateReferenceCount = 1;
    record.rateTimes = record.rateReferenceTimes = time;
    record.rateCoefficientCount = record.rateCoefficientTotal = 2;
    record.rateCoefficients = rate;
    record.centroidCoefficients = none; // with a count of 0
    KmifNode node;
    kerr::Slot slot;
    const Design doppler(sarm_GetDopplerRateKmifDesign());
    ASSERT_TRUE(kmif_NodeCreate(&record, doppler.get(), &node, slot)) << kerr_Text(slot.get());
    EXPECT_EQ(kmif_NodeToJson(node),
              "{\n  \"rateEstimateCount\": 1,\n  \"rateTimeCount\": 1,\n  \"rateTimes\": [0.005],\n"
              "  \"rateReferenceCount\": 1,\n  \"rateReferenceTimes\": [0.005],\n"
              "  \"rateCoefficientCount\": 2,\n  \"rateCoefficientTotal\": 2,\n"
              "  \"rateCoefficients\": [-1850.5, 250000.0],\n"
              "  \"centroidEstimateCount\": 0,\n  \"centroidTimeCount\": 0,\n"
              "  \"centroidTimes\": [],\n  \"centroidReferenceCount\": 0,\n"
              "  \"centroidReferenceTimes\": [],\n  \"centroidCoefficientCount\": 0,\n"
              "  \"centroidCoefficientTotal\": 0,\n  \"centroidCoefficients\": []\n}");
    std::string wrong = kmif_NodeToJson(node);
    wrong.replace(wrong.find("[0.005]"), 7, "[0.005, 1]");
    EXPECT_FALSE(kmif_NodeFromJson(doppler.get(), wrong, &node, slot));
    EXPECT_THAT(kerr_Text(slot.get()), HasSubstr("rateTimes"));

    double gains[] = {1.5, -INFINITY, NAN};
    CalibrationLutRecord luts{};
    luts.betaOffset = -0.0;
    luts.betaCount = 3;
    luts.betaGains = gains;
    luts.gammaCount = 12345; // a table that was not read: the null pointer decides
    ASSERT_TRUE(kmif_NodeCreate(&luts, makeCalibrationDesign().get(), &node, nullptr));
    EXPECT_EQ(kmif_NodeToJson(node),
              "{\n  \"lutBetaOffset\": -0.0,\n  \"lutBeta\": [1.5, \"-INF\", \"NaN\"],\n"
              "  \"lutSigmaOffset\": 0.0,\n  \"lutSigma\": [],\n"
              "  \"lutGammaOffset\": 0.0,\n  \"lutGamma\": []\n}");
    EXPECT_EQ(static_cast<const CalibrationLutRecord*>(node.data())->gammaCount, 0);
    luts.betaCount = -1;
    EXPECT_FALSE(kmif_NodeCreate(&luts, makeCalibrationDesign().get(), &node, nullptr));
    EXPECT_FALSE(node.empty()); // still what it was
}

TEST(SelfDescribingRecord, EveryDoubleReadsBackBitForBit) {
    using Limits = std::numeric_limits<double>;
    std::vector<double> values{0.0,
                               -0.0,
                               Limits::denorm_min(),
                               -Limits::denorm_min(),
                               Limits::min(),
                               Limits::max(),
                               Limits::lowest(),
                               Limits::infinity(),
                               -Limits::infinity(),
                               Limits::quiet_NaN(),
                               Limits::epsilon(),
                               0.1,
                               1.0 / 3,
                               1e15,
                               1e16,
                               1e22,
                               1e23,
                               0x1p53,
                               0x1p63,
                               -0x1p63,
                               0x1p64,
                               0x1p70,
                               123456789012345678.0};
    const auto seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    for (int i = 0; i < 20000; ++i)
        values.push_back(std::bit_cast<double>(random()));
    const Design design = makeDesign({{526, "values"}});
    const Doubles data{static_cast<std::int32_t>(values.size()), values.data()};
    KmifNode node;
    KmifNode again;
    kerr::Slot slot;
    ASSERT_TRUE(kmif_NodeCreate(&data, design.get(), &node, slot));
    ASSERT_TRUE(kmif_NodeFromJson(design.get(), kmif_NodeToJson(node), &again, slot))
        << kerr_Text(slot.get());
    const auto* back = static_cast<const Doubles*>(again.data());
    ASSERT_EQ(back->count, data.count);
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (std::isnan(values[i]))
            ASSERT_TRUE(std::isnan(back->values[i]));
        else
            ASSERT_EQ(std::bit_cast<std::uint64_t>(back->values[i]),
                      std::bit_cast<std::uint64_t>(values[i]))
                << values[i];
    }
}

TEST(SelfDescribingRecord, OtherElementsKeepTheirLimitsAndTextItsCharacters) {
    struct Data {
        char name[6];
        std::uint32_t word;
        std::int64_t longs[2];
        std::int32_t count;
        std::int32_t* numbers;
    } data{{'\xC3', '\xA9', '"', '\n', 'a', 'b'}, // fills the field, no NUL
           std::numeric_limits<std::uint32_t>::max(),
           {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()},
           2,
           nullptr};
    std::int32_t numbers[] = {std::numeric_limits<std::int32_t>::min(), 7};
    data.numbers = numbers;
    const Design design = makeDesign({{kmifText, "name", 6},
                                      {kmifUint32, "word"},
                                      {kmifInline + kmifInt64, "longs", 2},
                                      {kmifArray + kmifInt32, "numbers"}});
    KmifNode node;
    KmifNode again;
    kerr::Slot slot;
    ASSERT_TRUE(kmif_NodeCreate(&data, design.get(), &node, slot));
    ASSERT_TRUE(kmif_NodeFromText(kmif_NodeToText(node), &again, slot)) << kerr_Text(slot.get());
    const auto* back = static_cast<const Data*>(again.data());
    EXPECT_EQ(std::memcmp(back->name, data.name, 6), 0);
    EXPECT_EQ(back->word, data.word);
    EXPECT_EQ(back->longs[0], data.longs[0]);
    EXPECT_EQ(back->longs[1], data.longs[1]);
    ASSERT_EQ(back->count, 2);
    EXPECT_EQ(back->numbers[0], numbers[0]);

    const std::string json = kmif_NodeToJson(node);
    for (const auto& [what, instead] : std::initializer_list<std::pair<const char*, const char*>>{
             {"4294967295", "4294967296"},
             {"4294967295", "-1"},
             {"4294967295", "\"1\""},
             {"-2147483648", "-2147483649"},
             {"-2147483648", "1.5"},
             {"[-9223372036854775808, ", "["},
             {"9223372036854775807]", "9223372036854775807, 1]"},
             {"ab\"", "abc\""},
             {"ab\"", "\\u0000\""},
             {"\"word\"", "\"word2\""},
             {"\"word\"", "\"extra\": 1, \"word\""},
             {"\"word\"", "\"name\": \"a\", \"word\""},
             {"[-2147483648, 7]", "{}"},
             {"}", ""}}) {
        std::string damaged = json;
        const auto at = damaged.find(what);
        ASSERT_NE(at, std::string::npos) << what << json;
        damaged.replace(at, std::strlen(what), instead);
        kerr::Slot complaint;
        EXPECT_FALSE(kmif_NodeFromJson(design.get(), damaged, &again, complaint)) << damaged;
        EXPECT_TRUE(complaint.get());
    }
    data.name[1] = 'a'; // half a character
    EXPECT_FALSE(kmif_NodeCreate(&data, design.get(), &node, slot));
    EXPECT_THAT(kerr_Text(slot.get()), HasSubstr("name: text is not valid UTF-8"));
}

TEST(SelfDescribingRecord, DictionaryTravelsAsTextAndRefusesASecondMeaning) {
    kerr::Slot slot;
    const Dictionary dictionary(kmif_DictionaryCreate(slot));
    makeCalibrationDesign(dictionary.get());
    const Design sar(sarm_GetSarMetadataKmifDesign());
    EXPECT_TRUE(kmif_DictionaryAddDesign(dictionary.get(), sar.get(), slot));
    EXPECT_TRUE(kmif_DictionaryAddDesign(dictionary.get(), sar.get(), slot)); // no change
    const kmsc::HeapPtr<char16_t> text(kmif_DictionaryEncodeToString(dictionary.get(), slot));
    const Dictionary back(kmif_DictionaryDecodeFromString(text.get(), slot));
    ASSERT_TRUE(back) << kerr_Text(slot.get());
    const kmsc::HeapPtr<char16_t> again(kmif_DictionaryEncodeToString(back.get(), slot));
    EXPECT_EQ(std::u16string(again.get()), text.get());
    const KmifDesign* found = kmif_DictionaryFindDesign(back.get(), "SAR_Metadata");
    ASSERT_TRUE(found);
    EXPECT_EQ(kmif_DesignSize(found), sizeof(SarMetadataRecord));
    EXPECT_EQ(kmif_DesignName(found), "SAR_Metadata");
    EXPECT_EQ(kmif_DictionaryFindDesign(back.get(), "Doppler"), nullptr);

    EXPECT_EQ(kmif_DesignCreate(back.get(), "Rs2_Calibration", {{14, "other"}}, slot), nullptr);
    EXPECT_TRUE(slot.get());
}

TEST(SelfDescribingRecord, ImpossibleDesignsAreRefused) {
    const Design inner = makeDesign({{14, "a"}});
    const auto refused = [](std::initializer_list<KmifField> fields) {
        kerr::Slot slot;
        return !makeDesign(fields, slot) && slot.get();
    };
    EXPECT_TRUE(refused({}));
    EXPECT_TRUE(refused({{0, "end"}}));
    EXPECT_TRUE(refused({{15, "code"}}));
    EXPECT_TRUE(refused({{-242, "code"}}));
    EXPECT_TRUE(refused({{2048 + 14, "form"}}));
    EXPECT_TRUE(refused({{kmifArray + kmifText, "form"}}));
    EXPECT_TRUE(refused({{kmifArray + kmifNested, "form", 1, inner.get()}}));
    EXPECT_TRUE(refused({{kmifNested, "no design"}}));
    EXPECT_TRUE(refused({{14, "a design too many", 1, inner.get()}}));
    EXPECT_TRUE(refused({{14, "count", 2}}));
    EXPECT_TRUE(refused({{kmifInline + 14, "count", 0}}));
    EXPECT_TRUE(refused({{kmifInline + 14, "count", std::size_t{1} << 61}}));
    EXPECT_TRUE(refused({{kmifPadding, "a", 1U << 20}, {kmifPadding, "b", 1}}));
    EXPECT_TRUE(refused({{14, "a"}, {kmifCounted + 14, "no int32 before it"}}));
    EXPECT_TRUE(refused({{14, "twice"}, {14, "twice"}}));
    EXPECT_TRUE(refused({{14, ""}}));
    EXPECT_TRUE(refused({{14, "\xE9"}}));
}

TEST(SelfDescribingRecord, HostileTextGetsAReport) {
    std::string deep = "1",
                deepDesign = "{\"name\":\"d\",\"fields\":[{\"code\":14,\"name\":\"a\"}]}";
    for (int i = 0; i < 100000; ++i)
        deep = "[" + std::move(deep);
    for (int i = 0; i < kmifMaxDepth; ++i)
        deepDesign =
            "{\"name\":\"d\",\"fields\":[{\"code\":20,\"name\":\"a\",\"design\":" + deepDesign +
            "}]}";
    const auto field = [](std::string_view text) {
        return "{\"kmif\":1,\"designs\":[{\"name\":\"d\",\"fields\":[" + std::string(text) + "]}]}";
    };
    const std::string good = field("{\"code\":270,\"name\":\"a\",\"count\":3}");
    ASSERT_TRUE(Dictionary(kmif_DictionaryDecodeFromString(ktxt::widen(good), nullptr)));
    for (const std::string& text :
         {deep, "{\"kmif\":1,\"designs\":[" + deepDesign + "]}", "{\"kmif\":1,\"designs\":[" + deep,
          std::string("{}"), std::string("null"), std::string("{\"kmif\":2,\"designs\":[]}"),
          std::string("{\"kmif\":1,\"designs\":{}}"), field(""), field("1"), field("{\"code\":14}"),
          field("{\"code\":\"14\",\"name\":\"a\"}"), field("{\"code\":99999999999,\"name\":\"a\"}"),
          field("{\"code\":14,\"name\":[]}"), field("{\"code\":270,\"name\":\"a\",\"count\":-1}"),
          field("{\"code\":270,\"name\":\"a\",\"count\":4000000000}"),
          field("{\"code\":14,\"name\":\"a\",\"unit\":\"m\"}"),
          field("{\"code\":20,\"name\":\"a\",\"design\":null}")}) {
        kerr::Slot slot;
        EXPECT_FALSE(Dictionary(kmif_DictionaryDecodeFromString(ktxt::widen(text), slot)))
            << text.substr(0, 100);
        EXPECT_TRUE(slot.get());
    }

    KmifNode node; // every beginning and every changed character of a good text
    const double number = 1.25;
    ASSERT_TRUE(kmif_NodeCreate(&number, makeDesign({{14, "a"}}).get(), &node, nullptr));
    const std::string text = kmif_NodeToText(node);
    for (std::size_t i = 0; i < text.size(); ++i) {
        EXPECT_FALSE(kmif_NodeFromText(text.substr(0, i), &node, nullptr)) << i;
        for (const char instead : {'\0', '"', '{', '9', '\xFF'}) {
            std::string damaged = text;
            damaged[i] = instead;
            kmif_NodeFromText(damaged, &node, nullptr); // another value or a refusal, no crash
        }
    }
}

TEST(SelfDescribingRecord, ShortageAnywhereGivesAReportAndLeavesNothingBehind) {
    const auto before = kmsc_BlocksInUse();
    double gains[] = {1, 2};
    const CalibrationLutRecord luts{0, 2, 0, gains, 0, 0, 0, nullptr, 0, 0, 0, nullptr};
    const auto run = [&](KERR_REPORT** slot) {
        const Dictionary dictionary(kmif_DictionaryCreate(slot));
        if (!dictionary)
            return false;
        const Design sar(sarm_GetSarMetadataKmifDesign());
        const Design design = makeCalibrationDesign(dictionary.get());
        KmifNode node;
        sarm_CreateMIFNode(&luts, design.get(), dictionary.get(), &node, nullptr, nullptr, nullptr,
                           slot);
        const kmsc::HeapPtr<char16_t> text(kmif_DictionaryEncodeToString(dictionary.get(), slot));
        if (!text)
            return false;
        const Dictionary back(kmif_DictionaryDecodeFromString(text.get(), slot));
        KmifNode again;
        return sar && back && !node.empty() &&
               kmif_NodeFromText(kmif_NodeToText(node), &again, slot);
    };
    bool done = false;
    std::uint64_t failures = 0;
    while (!done) {
        kerr::Slot slot;
        kmsc_FailAllocation(failures + 1);
        done = run(slot);
        EXPECT_EQ(kmsc_BlocksInUse(), before);
        failures += done ? 0 : 1;
        ASSERT_LT(failures, 100U);
    }
    kmsc_FailAllocation(0);
    EXPECT_GT(failures, 8U); // each kind of block was refused once

    kerr::Slot slot;
    sarm_CreateMIFNode(nullptr, makeCalibrationDesign().get(), nullptr, nullptr, nullptr, nullptr,
                       nullptr, slot);
    EXPECT_TRUE(slot.get());
    EXPECT_EQ(kmif_NodeToJson({}), "null");
}
