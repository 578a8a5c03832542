// SPDX-License-Identifier: MIT
// The library as readers call it: the contract calls, the model area, times, refusals.

#include "sarm/sarm.h"

#include "platform/sarm/gdal_rpc.h"
#include "platform/sarm/sar_record.h"
#include "sarm/model_area.h"
#include "sarm/record_times.h"

#include <gdal_alg.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>

namespace {

const sarm::StateVector satellite = support::satelliteOver(30, 45, 345);

TEST(RecordTimes, UnfoldsWhatTheReadersFold) {
    const struct {
        const char* story;
        double first, last, firstVector, interval;
        std::optional<double> noted;
        double startS, firstVectorS;
        bool repaired;
    } cases[] = {
        {"plain", 1000, 1010, 998, 3.5, {}, 1000, -2, false},
        {"vector on the day before: 86400 - s of day", 50, 60, 60, 30, {}, 50, -110, true},
        {"New Year read as the day after", 5, 25, 86398 + 86400.0, 10, {}, 5, -7, true},
        {"image across midnight, first and last swapped", 5, 86395, 86393, 5, {}, -5, -2, true},
        {"two readings cover the image: the note decides", 3, 7, 2, 3, -5.0, 3, -5, true},
        {"and the other way", 3, 7, 2, 3, -1.0, 3, -1, false},
        {"vectors across midnight", 2, 10, 10, 4 - 86400.0, {}, 2, -12, true},
    };
    for (const auto& expected : cases) {
        auto record = support::emptyRecord();
        record->firstLineTime = expected.first;
        record->lastLineTime = expected.last;
        record->stateVectorFirstTime = expected.firstVector;
        record->stateVectorInterval = expected.interval;
        record->numberOfStateVectors = 5;
        const sarm::RecordTimes times = sarm::unfoldTimes(*record, expected.noted);
        EXPECT_NEAR(times.startS, expected.startS, 1e-6) << expected.story;
        EXPECT_NEAR(times.firstVectorS, expected.firstVectorS, 1e-6) << expected.story;
        EXPECT_GT(times.vectorIntervalS, 0) << expected.story;
        EXPECT_EQ(times.repaired, expected.repaired) << expected.story;
    }
}

TEST(ModelEphemeris, RefusesWithAReportAndLeavesTheRecordWhole) {
    const struct {
        sarm::Refusal refusal;
        std::function<void(SarMetadataRecord&)> spoil;
    } cases[] = {
        {sarm::Refusal::noStateVectors, [](auto& r) { r.numberOfStateVectors = 0; }},
        {sarm::Refusal::badStateVectors, [](auto& r) { r.stateVectorYVelocity.count = 4; }},
        {sarm::Refusal::badStateVectors,
         [](auto& r) { r.stateVectorZPosition.values[2] = std::nan(""); }},
        {sarm::Refusal::badStateVectors,
         [](auto& r) {
             for (int i = 0; i < 5; ++i) // an aeroplane
                 r.stateVectorXVelocity.values[i] = r.stateVectorYVelocity.values[i] =
                     r.stateVectorZVelocity.values[i] = 50;
         }},
        {sarm::Refusal::badTimes, [](auto& r) { r.stateVectorInterval = std::nan(""); }},
        {sarm::Refusal::noImageSize, [](auto& r) { r.numberOfLines = 1; }},
        {sarm::Refusal::noImageSize, [](auto& r) { r.numberOfSamplesPerLine = 0; }},
        {sarm::Refusal::noSlantRange, [](auto& r) { r.slantRangeNearEdge = 0; }},
        {sarm::Refusal::noPixelSpacing, [](auto& r) { r.sampledPixelSpacing = 0; }},
        {sarm::Refusal::noLineTiming, [](auto& r) { r.lastLineTime = r.firstLineTime; }},
        {sarm::Refusal::badRangePolynomial, [](auto& r) { r.rangeGeometry = 1; }},
        {sarm::Refusal::noLookDirection, [](auto& r) { r.lookDirection = 0; }},
        {sarm::Refusal::arcUnusable,
         [](auto& r) {
             support::Scene wholeOrbit;
             wholeOrbit.arcS = 4000;
             wholeOrbit.vectors = 50;
             support::setVectors(r, support::vectorsOf(wholeOrbit, satellite));
             r.stateVectorFirstTime = r.firstLineTime - 1995;
             r.stateVectorInterval = 4000.0 / 49;
         }},
        {sarm::Refusal::noGroundIntersection, [](auto& r) { r.slantRangeNearEdge = 500e3; }},
        {sarm::Refusal::incidenceMismatch, [](auto& r) { r.incidenceAngleCentre = 50; }},
        {sarm::Refusal::notRadarGrid,
         [](auto& r) {
             r.rangeGeometry = 1;
             r.groundToSlantRangeCoefficients[0] = r.slantRangeNearEdge;
             r.groundToSlantRangeCoefficients[1] = 0.5;
             r.sampledLineSpacing = 15.0; // the track's is 13.3
         }},
    };
    for (const auto& expected : cases) {
        const auto record = support::recordOf({}, satellite);
        expected.spoil(*record);
        SarMetadataRecord before = *record;
        kerr::Slot slot;
        sarm_ModelEphemeris(record.get(), slot);
        ASSERT_TRUE(slot) << sarm::sentence(expected.refusal);
        EXPECT_EQ(slot.get()->message, sarm::sentence(expected.refusal));
        const sarm::ModelArea area = sarm::readModelArea(*record);
        EXPECT_EQ(area.flags, sarm::areaRefused);
        EXPECT_EQ(area.refusal, static_cast<std::int32_t>(expected.refusal));
        std::memcpy(before.modelArea, record->modelArea, sizeof before.modelArea);
        EXPECT_EQ(std::memcmp(&before, record.get(), sizeof before), 0);
    }
}

TEST(ModelEphemeris, SurvivesAnyRecord) {
    const auto seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    const double nasty[] = {0, -1, 1e-300, 1e9, 1e300, std::nan(""), HUGE_VAL, -HUGE_VAL};
    double SarMetadataRecord::*const fields[] = {
        &SarMetadataRecord::stateVectorFirstTime,  &SarMetadataRecord::stateVectorInterval,
        &SarMetadataRecord::firstLineTime,         &SarMetadataRecord::lastLineTime,
        &SarMetadataRecord::semiMajorAxis,         &SarMetadataRecord::semiMinorAxis,
        &SarMetadataRecord::geodeticTerrainHeight, &SarMetadataRecord::wavelength,
        &SarMetadataRecord::sampledPixelSpacing,   &SarMetadataRecord::sampledLineSpacing,
        &SarMetadataRecord::slantRangeNearEdge};
    for (int round = 0; round < 3000; ++round) {
        support::Scene scene;
        scene.vectors = 2 + static_cast<int>(random() % 6);
        const auto record = support::recordOf(scene, satellite);
        record->rangeGeometry = 1 + static_cast<int>(random() % 2);
        record->groundToSlantRangeCoefficients[0] = scene.nearRange;
        record->groundToSlantRangeCoefficients[1] = 0.5;
        for (int fault = 0; fault < 2; ++fault)
            (*record).*fields[random() % std::size(fields)] = nasty[random() % std::size(nasty)];
        record->stateVectorXVelocity.values[1] *= random() % 4 == 0 ? -1 : 1;
        kerr::Slot slot;
        sarm_ModelEphemeris(record.get(), slot);
        if (const auto model = sarm::Model::fromRecord(*record)) {
            const auto ground =
                model->imageToGround(model->centre(), model->parameters().terrainHeightM);
            ASSERT_TRUE(ground && model->groundToImage(*ground));
        } else {
            ASSERT_TRUE(slot);
        }
    }
}

TEST(ModelEphemeris, DescribesTheModelAlikeWhenCalledAgain) {
    support::Scene scene;
    scene.startS = 3;
    const auto record = support::recordOf(scene, satellite);
    record->stateVectorFirstTime = 1; // without the note, 1 s before midnight would centre better
    record->stateVectorInterval = 5;
    sarm_NoteTimes(record.get(), -2);
    support::setVectors(*record, [] {
        std::vector<sarm::StateVector> vectors;
        for (int i = 0; i < 6; ++i)
            vectors.push_back(sarm::propagate(satellite, -2 + 5.0 * i));
        return vectors;
    }());
    kerr::Slot slot;
    sarm_ModelEphemeris(record.get(), slot);
    ASSERT_EQ(slot.get(), nullptr) << kerr_Text(slot.get());
    const sarm::ModelArea area = sarm::readModelArea(*record);
    EXPECT_EQ(area.flags, sarm::areaNoted | sarm::areaModelled);
    EXPECT_EQ(area.firstVectorMinusStartS, -2);
    EXPECT_EQ(area.firstVectorS, -2);
    EXPECT_DOUBLE_EQ(area.lineIntervalS, 10.0 / 4999);
    EXPECT_LT(area.positionRmsM, 1e-3);
    const sarm::StateVector middle = sarm::propagate(satellite, 5);
    EXPECT_NEAR(area.centreState[0], middle.position.x, 1e-3);
    EXPECT_NEAR(area.centreState[5], middle.velocity.z, 1e-5);
    const SarMetadataRecord once = *record;
    sarm_ModelEphemeris(record.get(), slot);
    EXPECT_EQ(std::memcmp(&once, record.get(), sizeof once), 0);
}

TEST(LateLineTimes, MoveTheModelByAQuarterOfThePulseInterval) {
    for (const int ordering : {0, 1}) {
        support::Scene scene;
        scene.lineOrdering = ordering;
        const auto record = support::recordOf(scene, satellite);
        record->pulseRepetitionFrequency = 1000;
        const auto stated = sarm::Model::fromRecord(*record);
        sarm_NoteLateLineTimes(record.get(), true);
        sarm_ModelEphemeris(record.get(), nullptr); // keeps what was told
        const auto corrected = sarm::Model::fromRecord(*record);
        sarm_NoteLateLineTimes(record.get(), false);
        const auto asStated = sarm::Model::fromRecord(*record);
        ASSERT_TRUE(stated && corrected && asStated);
        const auto ground = stated->imageToGround({100, 2000}, 0);
        ASSERT_TRUE(ground);
        // A time before the line's stated one is shown later in a rising image.
        const double lines = 0.00025 / (10.0 / 4999) * (ordering == 0 ? 1 : -1);
        EXPECT_NEAR(corrected->groundToImage(*ground)->line, 2000 + lines, 1e-6);
        EXPECT_NEAR(asStated->groundToImage(*ground)->line, 2000, 1e-6);
    }
}

TEST(File2Model, CountsFromTheNearEdgeAndTheEarliestLine) {
    const auto record = support::recordOf({}, satellite);
    double x = 0, y = 0;
    sarm_File2Model(10, 20, record.get(), &x, &y);
    EXPECT_EQ(std::pair(x, y), std::pair(10.0, 20.0));
    record->pixelTimeOrdering = record->lineTimeOrdering = 1;
    sarm_File2Model(10, 20, record.get(), &x, &y);
    EXPECT_EQ(std::pair(x, y), std::pair(3989.0, 4979.0));
    record->rangeGeometry = 1;
    sarm_NoteHabits(record.get(), sarmGroundRangeRises);
    sarm_File2Model(10, 20, record.get(), &x, &y);
    EXPECT_EQ(std::pair(x, y), std::pair(10.0, 4979.0));
}

TEST(ReleaseMetadata, FreesTheRecordWithItsArrays) {
    const std::int64_t before = kmsc_BlocksInUse();
    sarm::MetadataPtr record = support::recordOf({}, satellite);
    EXPECT_EQ(kmsc_BlocksInUse(), before + 7);
    record.reset();
    EXPECT_EQ(kmsc_BlocksInUse(), before);
    sarm_ReleaseMetadata(nullptr);
}

TEST(Rpc, ReadsTheSameInGdalAcrossTheDateLine) {
    support::Scene scene;
    scene.samples = 20000;
    const auto model =
        sarm::Model::fromRecord(*support::recordOf(scene, support::satelliteOver(175.9, -40, 350)));
    ASSERT_TRUE(model);
    const auto rpc = sarm::fitRpc(*model);
    ASSERT_TRUE(rpc);
    EXPECT_LE(rpc->maxLineError, 0.01);
    EXPECT_LE(rpc->maxSampleError, 0.01);
    EXPECT_LE(std::abs(rpc->lonOffsetDeg), 180);
    const GDALRPCInfoV2 info = support::gdalRpc(*rpc);
    void* gdal = GDALCreateRPCTransformerV2(&info, FALSE, 0.001, nullptr);
    bool east = false, west = false;
    for (const double sample : {10.0, 10000.0, 19900.0}) {
        const auto ground = model->imageToGround({sample, 2500}, 300);
        ASSERT_TRUE(ground);
        (ground->lonDeg > 0 ? east : west) = true;
        double x = ground->lonDeg, y = ground->latDeg, z = 300;
        int success = 0;
        GDALRPCTransform(gdal, TRUE, 1, &x, &y, &z, &success);
        ASSERT_TRUE(success);
        EXPECT_NEAR(x, sample + 0.5, 0.02); // GDAL's (0, 0) is the corner of the first pixel
        EXPECT_NEAR(y, 2500.5, 0.02);
    }
    EXPECT_TRUE(east && west) << "the scene was to lie on the date line";
    GDALDestroyRPCTransformer(gdal);
}

} // namespace
