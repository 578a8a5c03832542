// SPDX-License-Identifier: MIT
#include "rs2_readnodes.h"

#include "kmsc/kmsc.h"
#include "ktxt/ktxt.h"
#include "rcm_metadata.h"
#include "sarm/model_area.h"
#include "sarm/sarm.h"
#include "support/metadata_trees.h"
#include "support/record_fields.h"
#include "support/rs2_document.h"

#include <gmock/gmock.h>

#include <cmath>
#include <fstream>
#include <new>

namespace {

using support::Rs2Document;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr double orbitRadiusM = 7178137;
constexpr double speedMPerS = 7450;

std::string text(double value) {
    std::ostringstream stream;
    stream.precision(17);
    stream << value;
    return stream.str();
}

/// A satellite that flies north over the equator at 0 degrees east, so many seconds after it.
void setVector(Rs2Document& document, const std::string& path, double timeS) {
    const double angle = timeS * speedMPerS / orbitRadiusM;
    document.set({{path + ".xPosition", text(orbitRadiusM * std::cos(angle))},
                  {path + ".yPosition", "0"},
                  {path + ".zPosition", text(orbitRadiusM * std::sin(angle))},
                  {path + ".xVelocity", text(-speedMPerS * std::sin(angle))},
                  {path + ".yVelocity", "0"},
                  {path + ".zVelocity", text(speedMPerS * std::cos(angle))}});
}

void setEstimate(Rs2Document& document, const std::string& path, const std::string& time,
                 const std::string& coefficients) {
    document.set({{path + ".timeOfDopplerCentroidEstimate", time},
                  {path + ".dopplerCentroidReferenceTime", "0.0061"},
                  {path + ".dopplerCentroidCoefficients", coefficients}});
}

struct Rs2Readnodes : testing::Test {
    support::TemporaryFolder folder;
    Rs2Document document;
    kerr::Slot slot;

    Rs2Readnodes() { reset(); }

    void reset() {
        document = Rs2Document();
        document.set(
            {{"satellite", "RADARSAT-2"},
             {"acquisitionType", "Fine"},
             {"beams", "W1 W2"},
             {"pulses", "30 50"},
             {"settableGain[0].@wing", "Combined"},
             {"settableGain[1].@wing", "Combined"},
             {"radarCenterFrequency", "2997924580"},
             {"pulseRepetitionFrequency[0].@beam", "W1"},
             {"pulseRepetitionFrequency[0]", "1000"},
             {"pulseRepetitionFrequency[1].@beam", "W2"},
             {"pulseRepetitionFrequency[1]", "1250"},
             {"antennaPointing", "Right"},
             {"adcSamplingRate[0].@pulse", "30"},
             {"adcSamplingRate[0]", "3e7"},
             {"adcSamplingRate[1].@pulse", "50"},
             {"adcSamplingRate[1]", "5e7"},
             {"stateVector[0].timeStamp", "2023-07-08T01:02:03.000004Z"},
             {"stateVector[1].timeStamp", "2023-07-08T01:02:15.000004Z"},
             {"zeroDopplerTimeFirstLine", "2023-07-08T01:02:06.000000Z"},
             {"zeroDopplerTimeLastLine", "2023-07-08T01:02:12.000000Z"},
             {"sarProcessingInformation.totalProcessedRangeBandwidth", "4.5e7"},
             {"totalProcessedAzimuthBandwidth", "900"},
             {"azimuthWindow.windowName", "Hamming"},
             {"azimuthWindow.windowCoefficient", "0.7"},
             {"rangeWindow.windowCoefficient", "2.4"},
             {"incidenceAngleNearRange", "28"},
             {"incidenceAngleFarRange", "30.25"},
             {"slantRangeNearEdge", "900000"},
             {"slantRangeToGroundRange[0].groundToSlantRangeCoefficients", "899000.5 0.5 1e-7"},
             {"numberOfSamplesPerLine", "200"},
             {"numberOfLines", "301"},
             {"sampledPixelSpacing", "10"},
             {"sampledLineSpacing", "132"},
             {"semiMajorAxis", "6378137"},
             {"semiMinorAxis", "6356752.25"},
             {"geodeticTerrainHeight", "45"}});
        setVector(document, "stateVector[0]", 0);
        setVector(document, "stateVector[1]", 12);
        setEstimate(document, "dopplerCentroid[0]", "2023-07-08T01:02:07.500000Z", "50 1");
        setEstimate(document, "dopplerCentroid[1]", "2023-07-08T01:02:09.500000Z", "60 2");
    }

    std::string reported() const { return kerr_Text(slot.get()); }

    sarm::MetadataPtr read(std::int32_t type = rs2Slc) {
        return sarm::MetadataPtr(
            rs2_sarNodeRead(rs2::Document(ktxt::widen(document.write(folder))), type, slot));
    }
    /// The record of a product that nothing is wrong with.
    sarm::MetadataPtr readWhole(std::int32_t type = rs2Slc) {
        auto record = read(type);
        EXPECT_EQ(reported(), "");
        return record;
    }
};

} // namespace

TEST_F(Rs2Readnodes, FillsEveryField) {
    const auto record = readWhole();
    ASSERT_TRUE(record);
    support::expectFields({RECORD_FIELD(recordVersion, 0),
                           RECORD_FIELD(passDirection, 1),
                           RECORD_FIELD(productGeometry, 3),
                           RECORD_FIELD(beamModeClass, 1),
                           RECORD_FIELD(rangeGeometry, 2),
                           RECORD_FIELD(pixelTimeOrdering, 0),
                           RECORD_FIELD(lineTimeOrdering, 0),
                           RECORD_FIELD(rangeWindowType, 2),
                           RECORD_FIELD(azimuthWindowType, 1),
                           RECORD_FIELD(numberOfStateVectors, 2),
                           RECORD_FIELD(firstLineYear, 2023),
                           RECORD_FIELD(firstLineMonth, 7),
                           RECORD_FIELD(firstLineDay, 8),
                           RECORD_FIELD(firstLineDayOfYear, 189),
                           RECORD_FIELD(firstLineTime, 3726),
                           RECORD_FIELD(lastLineTime, 3732),
                           RECORD_FIELD(imageDuration, 6),
                           RECORD_FIELD(stateVectorFirstTime, 3723.000004),
                           RECORD_FIELD(stateVectorFirstTime2, 3723.000004),
                           RECORD_FIELD(stateVectorInterval, 12),
                           RECORD_FIELD(stateVectorInterval2, 12),
                           RECORD_FIELD(semiMajorAxis, 6378137),
                           RECORD_FIELD(semiMinorAxis, 6356752.25),
                           RECORD_FIELD(geodeticTerrainHeight, 45),
                           RECORD_FIELD(lookDirection, 90),
                           RECORD_FIELD(incidenceAngleCentre, 29.125),
                           RECORD_FIELD(wavelength, 0.1),
                           RECORD_FIELD(adcSamplingRate, 3e7),
                           RECORD_FIELD(pulseRepetitionFrequency, 1000),
                           RECORD_FIELD(totalProcessedRangeBandwidth, 4.5e7),
                           RECORD_FIELD(totalProcessedAzimuthBandwidth, 900),
                           RECORD_FIELD(rangeWindowCoefficient, 2.4),
                           RECORD_FIELD(azimuthWindowCoefficient, 0.7),
                           RECORD_FIELD(sampledPixelSpacing, 10),
                           RECORD_FIELD(sampledLineSpacing, 132),
                           RECORD_FIELD(slantRangeNearEdge, 900000),
                           RECORD_FIELD(stateVectorXPosition.values[0], orbitRadiusM),
                           RECORD_FIELD(stateVectorYPosition.values[1], 0),
                           RECORD_FIELD(stateVectorZVelocity.values[0], speedMPerS),
                           RECORD_FIELD(imageWindowValid, 1),
                           RECORD_FIELD(lastSample, 199),
                           RECORD_FIELD(sampleCount, 200),
                           RECORD_FIELD(lastLine, 300),
                           RECORD_FIELD(lineCount, 301)});
    EXPECT_STREQ(record->sensorCode, "F");
    EXPECT_THAT(record->groundToSlantRangeCoefficients, testing::Each(0));
    // The middle of the image is second 9; the second estimate is the first within 1 s of it.
    EXPECT_THAT(record->dopplerCentroid[0].coefficients, ElementsAre(60, 2, 0, 0, 0, 0));
    EXPECT_EQ(record->dopplerCentroid[0].azimuthTime, 3729.5);
    EXPECT_EQ(record->dopplerCentroid[0].referenceTime, 0.0061);
    EXPECT_EQ(record->dopplerCentroid[1].numberOfCoefficients, 0);
}

TEST_F(Rs2Readnodes, DetectedProductsHaveARangePolynomialAndNoDoppler) {
    for (const std::int32_t type : {rs2Sgf, rs2Sgx, rs2Sgc, productTypeUnknown}) {
        const auto record = readWhole(type);
        EXPECT_THAT((std::array{record->productGeometry, record->rangeGeometry,
                                record->dopplerCentroid[0].numberOfCoefficients}),
                    ElementsAre(0, 1, 0));
        EXPECT_THAT(record->groundToSlantRangeCoefficients,
                    ElementsAre(899000.5, 0.5, 1e-7, 0, 0, 0));
    }
    document.set("groundToSlantRangeCoefficients", "899000.5 0.5 1e-7 0 0 1e-30 7 8");
    const support::Log log;
    EXPECT_THAT(readWhole(rs2Sgf)->groundToSlantRangeCoefficients,
                ElementsAre(899000.5, 0.5, 1e-7, 0, 0, 1e-30));
    EXPECT_THAT(log.text(), HasSubstr("product.xml: the ground-to-slant-range polynomial has 8"));
}

TEST_F(Rs2Readnodes, OneElementDecidesOneField) {
    struct Case {
        std::string path, value;
        double (*field)(const SarMetadataRecord&);
        double expected;
    };
    const auto mode = [](const SarMetadataRecord& r) { return double(r.beamModeClass); };
    const Case cases[] = {
        {"acquisitionType", "Fine Quad Polarization", mode, 1},
        {"acquisitionType", "Multi-Look Fine", mode, 1},
        {"acquisitionType", "Low Incidence", mode, 1},
        {"acquisitionType", "Wide", mode, 1},
        {"acquisitionType", "Standard Quad Polarization", mode, 1},
        {"acquisitionType", "SpotlightB", mode, 2},
        {"acquisitionType", "ScanSAR Narrow", mode, 3},
        {"acquisitionType", "ScanSAR Wide", mode, 3},
        {"acquisitionType", "Extra Fine", mode, 0},
        {"acquisitionType", "Ocean Surveillance", mode, 0},
        {"passDirection", "Descending",
         [](const SarMetadataRecord& r) { return double(r.passDirection); }, 2},
        {"antennaPointing", "Left", [](const SarMetadataRecord& r) { return r.lookDirection; },
         -90},
        {"pixelTimeOrdering", "Decreasing",
         [](const SarMetadataRecord& r) { return double(r.pixelTimeOrdering); }, 1},
        {"lineTimeOrdering", "Decreasing",
         [](const SarMetadataRecord& r) { return double(r.lineTimeOrdering); }, 1},
        {"productType", "SCX", mode, 1},
    };
    for (const Case& c : cases) {
        reset();
        document.set(c.path, c.value);
        EXPECT_EQ(c.field(*readWhole()), c.expected) << c.path << " " << c.value;
    }
}

TEST_F(Rs2Readnodes, PulseRepetitionFrequencyFollowsBeamAndWing) {
    struct Case {
        std::string beams[2], wings[2];
        double expectedHz;
    };
    const Case cases[] = {
        {{"W1", "W2"}, {"Combined", "Combined"}, 1000},
        {{"S7", "W2"}, {"Combined", "Combined"}, 1250},
        {{"W2", "W1"}, {"Combined", "Combined"}, 0}, // not at its own place
        {{"W2", "W1"}, {"Fore", "Aft"}, 0},
        {{"W1", "W2"}, {"Combined", "Aft"}, 2000},
        {{"W1", "W2"}, {"Fore", "Aft"}, 2000}, // doubled once
        {{"S7", "W2"}, {"Fore", "Combined"}, 2500},
    };
    for (const Case& c : cases) {
        for (const std::string i : {"0", "1"}) {
            const bool second = i == "1";
            document.set("pulseRepetitionFrequency[" + i + "].@beam", c.beams[second]);
            document.set("settableGain[" + i + "].@wing", c.wings[second]);
        }
        EXPECT_EQ(readWhole()->pulseRepetitionFrequency, c.expectedHz)
            << c.beams[0] << " " << c.wings[0] << " " << c.wings[1];
    }
}

TEST_F(Rs2Readnodes, SamplingRatesOfTwoPulsesAreSummed) {
    struct Case {
        std::string acquisition, pulses;
        double expectedHz;
    };
    const Case cases[] = {
        {"Fine", "30 50", 3e7},       {"Fine", "17.28 50", 5e7},    {"Fine", "50 30", 0},
        {"Ultrafine", "30 50", 8e7},  {"Ultrafine", "30 30", 3e7},  {"SpotlightA", "30 50", 8e7},
        {"SpotlightB", "30 50", 8e7}, {"Extra Fine", "30 50", 3e7},
    };
    for (const Case& c : cases) {
        document.set({{"acquisitionType", c.acquisition}, {"pulses", c.pulses}});
        EXPECT_EQ(readWhole()->adcSamplingRate, c.expectedHz) << c.acquisition << " " << c.pulses;
    }
}

TEST_F(Rs2Readnodes, DurationGoesByTheHours) {
    struct Case {
        std::string story, first, last;
        double firstS, lastS, durationS;
    };
    const Case cases[] = {
        {"rising over midnight", "2023-07-08T23:59:58.000000Z", "2023-07-09T00:00:04.500000Z", 4.5,
         86398, 6.5},
        {"falling over a full hour", "2023-07-08T10:00:01.000000Z", "2023-07-08T09:59:55.000000Z",
         35995, 36001, 6 + 86400.0},
        {"falling within an hour", "2023-07-08T10:00:11.000000Z", "2023-07-08T10:00:05.000000Z",
         36005, 36011, 6},
        {"falling over midnight", "2023-07-09T00:00:04.000000Z", "2023-07-08T23:59:58.000000Z", 4,
         86398, 86394},
    };
    for (const Case& c : cases) {
        document.set({{"zeroDopplerTimeFirstLine", c.first}, {"zeroDopplerTimeLastLine", c.last}});
        const auto record = read(rs2Sgf); // vectors far away: no model
        EXPECT_THAT(
            (std::array{record->firstLineTime, record->lastLineTime, record->imageDuration}),
            ElementsAre(c.firstS, c.lastS, c.durationS))
            << c.story;
    }
}

TEST_F(Rs2Readnodes, StateVectorTimesAreFolded) {
    struct Case {
        std::string story, firstLine, lastLine, vector0, vector1;
        double firstS, intervalS;
    };
    const Case cases[] = {
        {"midnight between the vectors", "2023-07-08T00:00:01.000000Z",
         "2023-07-08T00:00:07.000000Z", "2023-07-07T23:59:58.000000Z",
         "2023-07-08T00:00:10.000000Z", 2, 12},
        {"New Year: the day before counts as the day after", "2024-01-01T00:00:01.000000Z",
         "2024-01-01T00:00:07.000000Z", "2023-12-31T23:59:58.000000Z",
         "2024-01-01T00:00:10.000000Z", 86398 + 86400.0, 12},
        {"midnight behind the image's start", "2023-07-08T23:59:59.000000Z",
         "2023-07-09T00:00:05.000000Z", "2023-07-08T23:59:56.000000Z",
         "2023-07-09T00:00:08.000000Z", 86396, 12},
        {"a minute between the vectors", "2023-07-08T01:02:01.000000Z",
         "2023-07-08T01:02:07.000000Z", "2023-07-08T01:01:58.000000Z",
         "2023-07-08T01:02:10.000000Z", 3718, 12},
    };
    for (const Case& c : cases) {
        document.set({{"zeroDopplerTimeFirstLine", c.firstLine},
                      {"zeroDopplerTimeLastLine", c.lastLine},
                      {"stateVector[0].timeStamp", c.vector0},
                      {"stateVector[1].timeStamp", c.vector1}});
        const auto record = readWhole();
        EXPECT_THAT((std::array{record->stateVectorFirstTime, record->stateVectorInterval,
                                record->stateVectorInterval2}),
                    ElementsAre(c.firstS, c.intervalS, c.intervalS))
            << c.story;
        EXPECT_NEAR(sarm::readModelArea(*record).firstVectorMinusStartS, -3, 1e-6) << c.story;
    }
    reset();
    document.erase("stateVector[1]"); // hour 0 stands for the missing one
    EXPECT_EQ(read()->stateVectorInterval, 86400 - 3723.000004);
}

TEST_F(Rs2Readnodes, SpotlightTakesFirstAndLastEstimateInTheImage) {
    document.set("acquisitionType", "SpotlightA").repeat("dopplerCentroid[1]");
    setEstimate(document, "dopplerCentroid[2]", "2023-07-08T01:02:11.000000Z", "70 3 4");
    document.repeat("dopplerCentroid[2]");
    setEstimate(document, "dopplerCentroid[3]", "2023-07-08T01:02:12.000001Z", "80");
    const auto record = readWhole();
    EXPECT_THAT(record->dopplerCentroid[0].coefficients, ElementsAre(50, 1, 0, 0, 0, 0));
    EXPECT_THAT(record->dopplerCentroid[1].coefficients, ElementsAre(70, 3, 4, 0, 0, 0));
    EXPECT_EQ(record->dopplerCentroid[1].azimuthTime, 3731);

    // Rising line times, marked as falling: no estimate lies in the image.
    document.set("lineTimeOrdering", "Decreasing");
    EXPECT_EQ(readWhole()->dopplerCentroid[0].numberOfCoefficients, 0);
}

TEST_F(Rs2Readnodes, OneSpotlightEstimateBecomesTwo) {
    document.set({{"acquisitionType", "SpotlightA"}, {"settableGain[0].@wing", "Fore"}});
    document.erase("dopplerCentroid[0]");
    const auto record = readWhole();
    // Estimate at 3729.5 s, 60 Hz; lines at 3726 and 3732; sample 100 of 10 m; doubled frequency.
    const double slopeHzPerS = 2 * 2000 * speedMPerS / (900000 + 100 * 10);
    EXPECT_DOUBLE_EQ(record->dopplerCentroid[0].coefficients[0], 60 + 3.5 * slopeHzPerS);
    EXPECT_DOUBLE_EQ(record->dopplerCentroid[1].coefficients[0], 60 - 2.5 * slopeHzPerS);
    EXPECT_THAT(
        (std::array{record->dopplerCentroid[0].azimuthTime, record->dopplerCentroid[1].azimuthTime,
                    record->dopplerCentroid[1].coefficients[1]}),
        ElementsAre(3726, 3732, 2));
}

TEST_F(Rs2Readnodes, WithoutAModelTheRecordIsPartial) {
    document.set({{"acquisitionType", "SpotlightA"}, {"slantRangeNearEdge", "0"}});
    document.erase("dopplerCentroid[0]");
    const auto record = read();
    ASSERT_TRUE(record);
    EXPECT_THAT(reported(),
                testing::StartsWith("rs2_sarNodeRead: sarm_sarModelEphemeris failed (sarm_"));
    EXPECT_EQ(record->imageWindowValid, 0);
    EXPECT_EQ(record->lineCount, 0);
    EXPECT_EQ(record->numberOfLines, 301);
    EXPECT_EQ(record->dopplerCentroid[0].coefficients[0], 60);
    EXPECT_EQ(record->dopplerCentroid[1].numberOfCoefficients, 0);
}

TEST_F(Rs2Readnodes, BadProductsAreReported) {
    const auto blocks = kmsc_BlocksInUse();
    struct Case {
        std::string path, value, wanted;
    };
    const Case cases[] = {
        {"antennaPointing", "Up", "rs2_sarNodeRead: XML does not match RS2 schema: "},
        {"antennaPointing", "Up", "antennaPointing"}, // the cause: file, line, element
        {"numberOfLines", "0", "product.xml: numberOfLines is 0, which is no size of an image"},
        {"numberOfSamplesPerLine", "2147483648", "numberOfSamplesPerLine is 2147483648"},
    };
    for (const Case& c : cases) {
        reset();
        document.set(c.path, c.value);
        EXPECT_FALSE(read());
        EXPECT_THAT(reported(), testing::AllOf(HasSubstr(c.wanted), HasSubstr("product.xml")));
        EXPECT_EQ(kmsc_BlocksInUse(), blocks);
    }
    reset();
    readWhole(); // what stood in the slot before is gone

    std::string printed;
    const auto old =
        kerr::setPrintSink([&](const KERR_REPORT& report) { printed += kerr_Text(&report); });
    EXPECT_EQ(rs2_sarNodeRead(rs2::Document(u"/no/such/product.xml"), rs2Slc, nullptr), nullptr);
    kerr::setPrintSink(old);
    EXPECT_THAT(printed, HasSubstr("XML does not match RS2 schema: "));
    EXPECT_THAT(printed, HasSubstr("/no/such/product.xml"));
}

TEST_F(Rs2Readnodes, WhatALaterSchemaBringsIsPassedOver) {
    const auto name = document.write(folder);
    std::ostringstream all;
    all << std::ifstream(name).rdbuf();
    const std::string whole = all.str();
    const auto readWith = [&](std::string_view before, std::string_view added) {
        std::ofstream(name) << std::string(whole).insert(whole.find(before), added);
        return sarm::MetadataPtr(rs2_sarNodeRead(rs2::Document(ktxt::widen(name)), rs2Slc, slot));
    };
    const auto count = [](const std::string& text, std::string_view what) {
        std::size_t found = 0;
        for (auto at = text.find(what); at != text.npos; at = text.find(what, at + 1))
            ++found;
        return found;
    };
    {
        const support::Log log;
        const auto record =
            readWith("<geolocationGrid>", "<later edition='2030'/><later/><later><x/></later>");
        ASSERT_TRUE(record) << reported();
        EXPECT_EQ(record->numberOfLines, 301);
        EXPECT_THAT(log.text(),
                    HasSubstr("rs2prod:later: an element is not known here (in "
                              "rs2prod:geographicInformation); passed over, and 2 more"));
        EXPECT_EQ(count(log.text(), "not known"), 1);
    }
    {
        const support::Log log;
        EXPECT_TRUE(readWith(" units=\"m\"", " later=\"1\" later2=\"2\""));
        EXPECT_THAT(log.text(),
                    HasSubstr("an attribute is not known (later=\"1\"); passed over, and"));
        EXPECT_EQ(count(log.text(), "not known"), 1);
    }
    const support::Log log; // known, but too often or in the wrong place
    EXPECT_FALSE(readWith("<sensor>", "<satellite>RADARSAT-2</satellite>"));
    EXPECT_THAT(reported(), HasSubstr("rs2prod:satellite: an element is misplaced"));
    EXPECT_FALSE(readWith("<satellite>", "<sensor>SAR</sensor>"));
    EXPECT_EQ(log.text(), "");
}

TEST_F(Rs2Readnodes, ShortMemoryLeavesNothingOnTheHeap) {
    const auto name = ktxt::widen(document.write(folder));
    const auto blocks = kmsc_BlocksInUse();
    int failed = 0;
    for (std::uint64_t n = 1; n <= 10; ++n) {
        kmsc_FailAllocation(n); // beyond the last allocation nothing fails
        try {
            const sarm::MetadataPtr record(rs2_sarNodeRead(rs2::Document(name), rs2Slc, slot));
            EXPECT_TRUE(record);
        } catch (const std::bad_alloc&) {
            ++failed;
        }
        kmsc_FailAllocation(0);
        EXPECT_EQ(kmsc_BlocksInUse(), blocks) << n;
    }
    EXPECT_EQ(failed, 7); // the record and its six arrays
}
