// SPDX-License-Identifier: MIT
#include "record_parts.h"

#include "doppler_centroid.h"
#include "kmsc/kmsc.h"
#include "support/metadata_trees.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TimeStamp at(const char* text) {
    return parseTimeStamp(text).value();
}

sarm::MetadataPtr recordOfDay(const TimeStamp& day) {
    auto record = record_parts::make();
    record_parts::setFirstLineDate(*record, day.year, day.month, day.day);
    return record;
}

/// A spotlight product of two vectors, seen at 100 Hz from a mean speed of 7500 m/s and 600 km.
sarm::MetadataPtr spotlightRecord() {
    auto record = record_parts::make();
    record->productGeometry = 3;
    record->beamModeClass = 2;
    record->numberOfSamplesPerLine = 201;
    record->numberOfLines = 301;
    record->sampledPixelSpacing = 2;
    record->slantRangeNearEdge = 599800;
    record->pulseRepetitionFrequency = 100;
    record->firstLineTime = 1000;
    record->lastLineTime = 1006;
    record_parts::allocateStateVectors(*record, 2);
    record_parts::setStateVector(*record, 0, {0, 0, 0, 7000, 0, 0});
    record_parts::setStateVector(*record, 1, {0, 0, 0, 0, 0, -8000});
    return record;
}

} // namespace

TEST(TimeStamp, ReadsEveryDigit) {
    const TimeStamp stamp = at(" 2024-02-29T23:59:08.123456789Z\r\n");
    EXPECT_EQ(stamp.dayOfYear(), 60);
    EXPECT_EQ(stamp.seconds, 8.123456789);
    EXPECT_EQ(stamp.secondsOfDay(), 86348.123456789);
    // 2024-01-01 is day 16066 of GPS time, 18 leap seconds on.
    EXPECT_NEAR(stamp.gpsSeconds(), (16066 + 59) * 86400. + 18 + 86348.123456789, 3e-7);
    for (const char* zone : {"", "Z", "UTC", "+02:00", "-05"})
        EXPECT_EQ(at(("2024-12-31T00:00:60.5" + std::string(zone)).c_str()).seconds, 60.5) << zone;
    for (const char* wrong :
         {"", "Z", "2023-02-29T00:00:00Z", "2024-13-01T00:00:00Z", "2024-01-01T24:00:00Z",
          "2024-01-01T00:60:00Z", "2024-01-01T00:00:61Z", "2024-01-01 00:00:00Z",
          "2024-01-01T00:00:00.Z", "2024-01-01T00:00:0Z", "2024-01-01T00:00:00.5 Z", "24-01-01"})
        EXPECT_FALSE(parseTimeStamp(wrong)) << wrong;
}

TEST(TimeStamp, LastCharacterIsTakenForTheZone) {
    EXPECT_EQ(parseTimeStampWithZone("2024-01-01T00:00:07.123456Z")->seconds, 7.123456);
    EXPECT_EQ(parseTimeStampWithZone("2024-01-01T00:00:07.123456")->seconds, 7.12345);
    EXPECT_FALSE(parseTimeStampWithZone("2024-01-01T00:00:07"));
    EXPECT_FALSE(parseTimeStampWithZone(""));
}

TEST(RecordParts, LineTimesAreOrdered) {
    const auto record = record_parts::make();
    record_parts::setLineTimes(*record, 86395, 5); // midnight between them is not looked at
    EXPECT_THAT((std::array{record->firstLineTime, record->lastLineTime, record->imageDuration}),
                ElementsAre(5, 86395, 86390));
}

TEST(RecordParts, StateVectorTimesAreFolded) {
    struct Case {
        const char* firstLine;
        std::vector<TimeStamp> vectors;
        double first, interval;
    };
    const Case cases[] = {
        {"2023-05-02T00:00:01Z", {at("2023-05-02T00:00:05Z"), at("2023-05-02T00:00:09Z")}, 5, 4},
        {"2023-05-02T00:00:01Z",
         {at("2023-05-01T23:59:58Z"), at("2023-05-02T00:00:02Z")},
         2,
         -86396},
        {"2023-05-01T23:59:59Z",
         {at("2023-05-02T00:00:03Z"), at("2023-05-02T00:00:07Z")},
         86403,
         4},
        {"2024-01-01T00:00:01Z",
         {at("2023-12-31T23:59:58Z"), at("2023-12-31T23:59:59Z")},
         172798,
         1}, // day 365 is greater than day 1
        {"2023-05-02T00:00:01Z", {at("2023-05-02T00:00:05Z")}, 5, -5},
        {"2023-05-02T00:00:01Z", {}, 0, 0},
    };
    for (const Case& c : cases) {
        const auto record = recordOfDay(at(c.firstLine));
        record_parts::setStateVectorTimes(*record, c.vectors);
        EXPECT_THAT((std::array{record->stateVectorFirstTime, record->stateVectorFirstTime2}),
                    ElementsAre(c.first, c.first))
            << c.firstLine;
        EXPECT_THAT((std::array{record->stateVectorInterval, record->stateVectorInterval2}),
                    ElementsAre(c.interval, c.interval))
            << c.firstLine;
    }
}

TEST(RecordParts, ExtraRangeCoefficientsAreDropped) {
    const auto record = record_parts::make();
    const support::Log log;
    record_parts::setGroundToSlantRange(*record, {1, 2, 3, 4, 5, 6, 7}, "p.xml");
    EXPECT_THAT(record->groundToSlantRangeCoefficients, ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(record->pixelTimeOrdering, 0);
    EXPECT_THAT(log.text(), HasSubstr("p.xml: the ground-to-slant-range polynomial has 7"));
}

TEST(RecordParts, WindowNamesAreExact) {
    EXPECT_THAT((std::array{record_parts::windowType("Hamming"), record_parts::windowType("Kaiser"),
                            record_parts::windowType("Flat"), record_parts::windowType("flat"),
                            record_parts::windowType("")}),
                ElementsAre(1, 2, 3, 0, 0));
}

TEST(Doppler, SelectionFollowsModeTimeAndOrder) {
    struct Case {
        const char* story;
        int mode, lineOrder;
        double firstLine, lastLine;
        std::vector<double> estimates;
        int first, second; // index of the estimate that fills each polynomial, -1 for none
    };
    const Case cases[] = {
        {"spotlight takes first and last", 2, 0, 100, 110, {99, 100, 105, 110, 111}, 1, 3},
        {"spotlight with one", 2, 0, 100, 110, {99, 105}, 1, -1},
        {"else the first within 1 s of the middle", 1, 0, 100, 110, {100, 104, 104.5, 105}, 2, -1},
        {"else none", 1, 0, 100, 110, {104, 106}, -1, -1},
        {"falling times are exchanged", 1, 1, 110, 100, {105}, 0, -1},
        {"falling times in rising order too", 1, 0, 110, 100, {105}, 0, -1},
        {"rising times marked as falling are exchanged", 2, 1, 100, 110, {100, 105, 110}, -1, -1},
    };
    for (const Case& c : cases) {
        const auto record = record_parts::make();
        record->beamModeClass = c.mode;
        record->lineTimeOrdering = c.lineOrder;
        CentroidSelector selector(*record, c.firstLine, c.lastLine);
        int filled[2] = {-1, -1};
        for (std::size_t i = 0; i < c.estimates.size(); ++i)
            if (const auto* polynomial = selector.polynomialFor(c.estimates[i]))
                filled[polynomial - record->dopplerCentroid] = static_cast<int>(i);
        EXPECT_THAT(filled, ElementsAre(c.first, c.second)) << c.story;
    }
}

TEST(Doppler, ExtraCoefficientsAreDropped) {
    const auto record = record_parts::make();
    const support::Log log;
    fillCentroid(record->dopplerCentroid[0], 77, 0.004, {1, 2, 3, 4, 5, 6, 7}, "p.xml");
    const DopplerPolynomial& filled = record->dopplerCentroid[0];
    EXPECT_EQ(filled.numberOfCoefficients, 6);
    EXPECT_THAT(filled.coefficients, ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_THAT((std::array{filled.azimuthTime, filled.referenceTime}), ElementsAre(77, 0.004));
    EXPECT_EQ(record->dopplerCentroid[1].azimuthTime, 0);
    EXPECT_THAT(log.text(), HasSubstr("p.xml: a Doppler centroid estimate has 7"));
}

TEST(Doppler, SingleSpotlightEstimateIsSplit) {
    const auto record = spotlightRecord();
    fillCentroid(record->dopplerCentroid[0], 1002, 0.004, {50, 3}, "");
    splitSpotlightCentroid(*record);
    // 2 * 100 Hz * 7500 m/s / (599800 + 100 * 2) m = 2.5 Hz a second
    const auto& [first, last] = record->dopplerCentroid;
    EXPECT_THAT((std::array{first.azimuthTime, last.azimuthTime}), ElementsAre(1000, 1006));
    EXPECT_DOUBLE_EQ(first.coefficients[0], 50 + 2 * 2.5);
    EXPECT_DOUBLE_EQ(last.coefficients[0], 50 - 4 * 2.5);
    EXPECT_THAT((std::array{first.coefficients[1], last.coefficients[1], last.referenceTime}),
                ElementsAre(3, 3, 0.004));

    // Neither detected nor stripmap products, nor those with two, nor those with none.
    for (int i = 0; i < 4; ++i) {
        const auto other = spotlightRecord();
        if (i < 3)
            fillCentroid(other->dopplerCentroid[0], 1002, 0.004, {50}, "");
        if (i == 0)
            other->productGeometry = 0;
        if (i == 1)
            other->beamModeClass = 1;
        if (i == 2)
            fillCentroid(other->dopplerCentroid[1], 1004, 0.004, {60}, "");
        const DopplerPolynomial before[2] = {other->dopplerCentroid[0], other->dopplerCentroid[1]};
        splitSpotlightCentroid(*other);
        EXPECT_EQ(std::memcmp(before, other->dopplerCentroid, sizeof before), 0) << i;
    }
}
