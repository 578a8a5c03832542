// SPDX-License-Identifier: MIT
#include "sarm/polar_format.h"

#include "sarm/rpc.h"
#include "support/spotlight.h"

#include <GeographicLib/Geocentric.hpp>
#include <gmock/gmock.h>

#include <numbers>
#include <random>

namespace {

constexpr double pi = std::numbers::pi;

TEST(PolarFormat, BroadsidePointsFollowTheLawOfCosines) {
    for (const double side : {+1.0, -1.0}) {
        const sarm::PolarFormatParameters p = support::spotlight(side);
        const double earth = p.ellipsoid.semiMajorAxisM, orbit = p.antennaPosition.x;
        const auto range = [&](double latDeg) {
            return std::sqrt(orbit * orbit + earth * earth -
                             2 * orbit * earth * std::cos(latDeg * pi / 180));
        };
        const double lat = -side * 3.61;
        const double away = range(lat) - range(3.6); // of the reference point
        for (const double angle : {0.0, 0.3}) {
            sarm::PolarFormatParameters turned = p;
            turned.polarAngleRad = angle;
            turned.scaleFactor = 1.25;
            const sarm::PolarFormatModel model(turned);
            const auto image = model.groundToImage({0, lat, 0});
            ASSERT_TRUE(image);
            EXPECT_NEAR((image->sample - p.referenceSample) * p.sampleSpacingM,
                        away / 1.25 * std::cos(angle), 1e-8);
            EXPECT_NEAR((image->line - p.referenceLine) * p.lineSpacingM,
                        away / 1.25 * std::sin(angle), 1e-6);
            const auto ground = model.imageToGround(*image, 0);
            ASSERT_TRUE(ground);
            EXPECT_NEAR(ground->lonDeg, 0, 1e-12);
            EXPECT_NEAR(ground->latDeg, lat, 1e-12);
            const double incidence =
                std::asin(orbit / range(lat) * std::sin(std::abs(lat) * pi / 180));
            EXPECT_NEAR(*model.incidenceDeg(*image, 0) * pi / 180, incidence, 1e-9);
        }
        // The grid's frequencies turn with the flight: later is east, whatever the side.
        const sarm::PolarFormatModel model(p);
        const auto east = model.groundToImage({0.01, lat, 0}),
                   west = model.groundToImage({-0.01, lat, 0});
        ASSERT_TRUE(east && west);
        EXPECT_NEAR(east->line + west->line, 2 * p.referenceLine, 1e-5);
        EXPECT_GT(side * (east->line - west->line), 10000);
    }
}

TEST(PolarFormat, PlacesComeBackWithinAMillionthOfAPixel) {
    std::mt19937_64 random(20241126);
    std::uniform_real_distribution<double> part(-0.1, 1.1), height(-400, 8000), small(-1, 1);
    for (int round = 0; round < 40; ++round) {
        sarm::PolarFormatParameters p = support::spotlight(round % 2 == 0 ? 1 : -1);
        p.ellipsoid = {};
        p.antennaVelocity = {200 * small(random), 7500, 800 * small(random)};
        p.referencePoint = sarm::toEarthFixed(
            {0.3 * small(random), (round % 2 == 0 ? -3 : 3) + small(random), 500}, p.ellipsoid);
        p.polarAngleRad = 0.2 * small(random);
        p.scaleFactor = 1 + 0.1 * small(random);
        p.scaleFactorSlope = 0.1 * small(random);
        ASSERT_EQ(sarm::faultOf(p), nullptr);
        const sarm::PolarFormatModel model(p);
        for (int i = 0; i < 100; ++i) {
            const sarm::ImagePosition image{part(random) * p.numberOfSamples,
                                            part(random) * p.numberOfLines};
            const auto ground = model.imageToGround(image, height(random));
            ASSERT_TRUE(ground);
            const auto back = model.groundToImage(*ground);
            ASSERT_TRUE(back);
            EXPECT_NEAR(back->sample, image.sample, 1e-6);
            EXPECT_NEAR(back->line, image.line, 1e-6);
        }
    }
}

TEST(PolarFormat, AnswersOnlyForPointsThatTheAntennaCanSee) {
    const sarm::PolarFormatModel model(support::spotlight());
    const double nan = std::nan("");
    for (const sarm::GroundPosition& ground : {sarm::GroundPosition{0, 3.6, 0}, // to the left
                                               {180, 3.6, 0},
                                               {0, -40, 0},
                                               {nan, -3.6, 0},
                                               {0, -3.6, nan}})
        EXPECT_FALSE(model.groundToImage(ground)) << ground.lonDeg << " " << ground.latDeg;
    for (const sarm::ImagePosition& image : {sarm::ImagePosition{-1e6, 60000}, // above the ground
                                             {1e9, 60000},                     // beyond the horizon
                                             {0, 1e9},
                                             {nan, 0}})
        EXPECT_FALSE(model.imageToGround(image, 0)) << image.sample << " " << image.line;
    EXPECT_FALSE(model.imageToGround({0, 0}, nan));
}

TEST(PolarFormat, RationalFunctionsFollowTheModel) {
    const auto rpc = sarm::fitRpc(sarm::PolarFormatModel(support::spotlight()));
    ASSERT_TRUE(rpc);
    EXPECT_LE(rpc->maxLineError, 0.01);
    EXPECT_LE(rpc->maxSampleError, 0.01);
}

TEST(PolarFormat, ImpossibleNumbersAreNamed) {
    using Parameters = sarm::PolarFormatParameters;
    const std::pair<void (*)(Parameters&), const char*> faults[] = {
        {[](Parameters& p) { p.scaleFactorSlope = std::nan(""); }, "not finite"},
        {[](Parameters& p) { p.antennaVelocity.z = INFINITY; }, "not finite"},
        {[](Parameters& p) { p.numberOfLines = 0; }, "no lines"},
        {[](Parameters& p) { p.ellipsoid.semiMinorAxisM = 0; }, "ellipsoid"},
        {[](Parameters& p) { p.lineSpacingM = 0; }, "spacings"},
        {[](Parameters& p) { p.antennaPosition = {}; }, "satellite"},
        {[](Parameters& p) {
             p.antennaVelocity = {7500, 0, 0};
         },
         "satellite"},
        {[](Parameters& p) { p.scaleFactor = -1; }, "scale factor"},
        {[](Parameters& p) { p.polarAngleRate = 0; }, "polar angle"},
        {[](Parameters& p) { p.referencePoint.x *= -1; }, "scene reference point"},
        {[](Parameters& p) { p.lineSpacingM = 1e6; }, "corner"}};
    for (const auto& [damage, said] : faults) {
        Parameters p = support::spotlight();
        ASSERT_EQ(sarm::faultOf(p), nullptr);
        damage(p);
        ASSERT_NE(sarm::faultOf(p), nullptr) << said;
        EXPECT_THAT(sarm::faultOf(p), testing::HasSubstr(said));
    }
}

TEST(Geodesy, EarthFixedPositionsConvertAsTheOracleHasIt) {
    std::mt19937_64 random(1985);
    std::uniform_real_distribution<double> lon(-180, 180), lat(-90, 90), height(-1e4, 1e4);
    const auto compare = [](const sarm::GroundPosition& ground) {
        double x, y, z;
        GeographicLib::Geocentric::WGS84().Forward(ground.latDeg, ground.lonDeg, ground.heightM, x,
                                                   y, z);
        const auto found = sarm::toGeodetic({x, y, z}, {});
        EXPECT_NEAR(found.latDeg, ground.latDeg, 1e-13);
        EXPECT_NEAR(found.heightM, ground.heightM, 1e-8);
        if (std::abs(ground.latDeg) < 89.9) {
            EXPECT_NEAR(found.lonDeg, ground.lonDeg, 1e-13);
        }
    };
    for (int i = 0; i < 2000; ++i)
        compare({lon(random), lat(random), height(random)});
    for (const double at : {-90.0, 0.0, 90.0})
        compare({0, at, 100});
}

} // namespace
