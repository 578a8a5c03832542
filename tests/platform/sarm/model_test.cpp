// SPDX-License-Identifier: MIT
#include "sarm/model.h"

#include "platform/sarm/sar_record.h"
#include "sarm/model_kernels.h"

#include <GeographicLib/Geocentric.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numbers>
#include <random>

namespace {

constexpr double pi = std::numbers::pi;

sarm::Vec3 earthFixed(const sarm::GroundPosition& ground) {
    sarm::Vec3 p;
    GeographicLib::Geocentric::WGS84().Forward(ground.latDeg, ground.lonDeg, ground.heightM, p.x,
                                               p.y, p.z);
    return p;
}

/// Random scene of any side, ordering, place and heading.
struct RandomWorld {
    support::Scene scene;
    sarm::StateVector satellite;
    sarm::MetadataPtr record;

    explicit RandomWorld(std::mt19937_64& random) {
        const auto between = [&](double a, double b) {
            return std::uniform_real_distribution<double>(a, b)(random);
        };
        scene.durationS = between(1, 60);
        scene.arcS = scene.durationS * between(1, 3);
        scene.vectors = static_cast<int>(between(5, 15));
        scene.lines = static_cast<int>(between(1000, 40000));
        scene.samples = static_cast<int>(between(100, 20000));
        scene.side = between(0, 1) < 0.5 ? 90 : -90;
        scene.pixelSpacing = between(0.3, 10);
        scene.nearRange = between(800e3, 1000e3);
        scene.lineOrdering = between(0, 1) < 0.5;
        scene.pixelOrdering = between(0, 1) < 0.5;
        satellite = support::satelliteOver(between(-180, 180), between(-82, 82), between(0, 360));
        record = support::recordOf(scene, satellite);
    }
};

TEST(Model, EquatorialCircleMatchesTheLawOfCosines) {
    const double earth = 6371000, orbitRadius = earth + 700e3, rate = 1.06e-3, range = 800e3;
    for (const double side : {+90.0, -90.0}) {
        support::Scene scene;
        scene.side = side;
        scene.nearRange = range;
        const auto record = support::recordOf(scene, support::satelliteOver(0, 0, 90));
        record->semiMajorAxis = record->semiMinorAxis = earth;
        std::vector<sarm::StateVector> circle;
        for (int i = 0; i < 5; ++i) {
            const double c = std::cos(rate * 2.5 * i), s = std::sin(rate * 2.5 * i);
            circle.push_back({0,
                              {orbitRadius * c, orbitRadius * s, 0},
                              {-orbitRadius * rate * s, orbitRadius * rate * c, 0}});
        }
        support::setVectors(*record, circle);
        const auto model = sarm::Model::fromRecord(*record);
        ASSERT_TRUE(model);
        const double time = 4.0, line = time / scene.durationS * (scene.lines - 1);
        const auto ground = model->imageToGround({0, line}, 0);
        ASSERT_TRUE(ground);
        const double angle = std::acos((orbitRadius * orbitRadius + earth * earth - range * range) /
                                       (2 * orbitRadius * earth));
        EXPECT_NEAR(ground->lonDeg * pi / 180, rate * time, 1e-9);
        EXPECT_NEAR(ground->latDeg * pi / 180, side < 0 ? angle : -angle, 1e-9) << "flying east";
        const double incidence = std::asin(orbitRadius / range * std::sin(angle));
        EXPECT_NEAR(*model->incidenceDeg({0, line}, 0) * pi / 180, incidence, 1e-9);
    }
}

TEST(Model, RoundTripComesBackWithinAMillionthOfAPixel) {
    const auto seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> part(-0.1, 1.1), height(-400, 8000);
    double worst = 0;
    for (int round = 0; round < 300; ++round) {
        const RandomWorld world(random);
        const auto model = sarm::Model::fromRecord(*world.record);
        ASSERT_TRUE(model);
        for (int i = 0; i < 100; ++i) {
            const sarm::ImagePosition image{part(random) * (world.scene.samples - 1),
                                            part(random) * (world.scene.lines - 1)};
            const auto ground = model->imageToGround(image, height(random));
            ASSERT_TRUE(ground);
            const auto back = model->groundToImage(*ground);
            ASSERT_TRUE(back);
            worst = std::max(
                {worst, std::abs(back->line - image.line), std::abs(back->sample - image.sample)});
        }
    }
    EXPECT_LE(worst, 1e-6);
}

TEST(Model, AgreesWithTheSlowWay) {
    std::mt19937_64 random(20170430);
    std::uniform_real_distribution<double> part(0, 1), height(-400, 8000);
    for (int round = 0; round < 40; ++round) {
        const RandomWorld world(random);
        const auto model = sarm::Model::fromRecord(*world.record);
        ASSERT_TRUE(model);
        const double interval = world.scene.durationS / (world.scene.lines - 1);
        const double lineM = interval * 7000;
        for (int i = 0; i < 10; ++i) {
            const sarm::ImagePosition image{part(random) * (world.scene.samples - 1),
                                            part(random) * (world.scene.lines - 1)};
            const auto ground = model->imageToGround(image, height(random));
            ASSERT_TRUE(ground);
            const auto slow =
                support::bruteForce(world.scene, world.satellite, earthFixed(*ground), interval);
            EXPECT_NEAR(slow.line * lineM, image.line * lineM, 0.01); // m: the orbit's truncation
            EXPECT_NEAR(slow.sample * world.scene.pixelSpacing,
                        image.sample * world.scene.pixelSpacing, 0.001);
        }
    }
}

TEST(Model, GroundRangeImageFollowsItsPolynomialAndGoesOnStraightOutside) {
    for (const int pixelOrdering : {0, 1}) {
        support::Scene scene;
        scene.pixelOrdering = pixelOrdering;
        const auto record = support::recordOf(scene, support::satelliteOver(10, 50, 190));
        record->rangeGeometry = 1;
        const double coefficients[] = {scene.nearRange, 0.45, 7e-7, -4e-13, 0, 0};
        std::copy_n(coefficients, 6, record->groundToSlantRangeCoefficients);
        const auto model = sarm::Model::fromRecord(*record);
        ASSERT_TRUE(model);
        for (const double q : {-400.0, 0.0, 1234.5, 3999.0, 4400.0}) {
            const double extent = 3999 * scene.pixelSpacing;
            const double g = q * scene.pixelSpacing, inside = std::clamp(g, 0.0, extent);
            const double range =
                scene.nearRange + 0.45 * inside + 7e-7 * inside * inside -
                4e-13 * inside * inside * inside +
                (0.45 + 1.4e-6 * inside - 1.2e-12 * inside * inside) * (g - inside);
            const double sample = pixelOrdering == 1 ? 3999 - q : q;
            const auto ground = model->imageToGround({sample, 2000}, 100);
            ASSERT_TRUE(ground);
            const double time = 2000 * scene.durationS / 4999;
            const auto satellite = sarm::stateAt(model->parameters().orbit, time);
            EXPECT_NEAR(norm(earthFixed(*ground) - satellite.position), range, 1e-6);
            EXPECT_NEAR(model->groundToImage(*ground)->sample, sample, 1e-6);
        }
    }
}

TEST(Model, AnswersOnlyForPointsThatTheAntennaCanSee) {
    support::Scene scene;
    const auto satellite = support::satelliteOver(20, 40, 0);
    const auto model = sarm::Model::fromRecord(*support::recordOf(scene, satellite));
    ASSERT_TRUE(model);
    const auto seen = model->imageToGround(model->centre(), 0);
    ASSERT_TRUE(seen && seen->lonDeg > 20) << "flying north, right is east";
    const double nan = std::nan("");
    const sarm::GroundPosition unseen[] = {{40 - seen->lonDeg, seen->latDeg, 0},
                                           {seen->lonDeg - 180, -seen->latDeg, 0},
                                           {seen->lonDeg, seen->latDeg + 5, 0},
                                           {seen->lonDeg + 60, seen->latDeg, 0},
                                           {nan, seen->latDeg, 0}};
    for (const sarm::GroundPosition& ground : unseen)
        EXPECT_FALSE(model->groundToImage(ground)) << ground.lonDeg << " " << ground.latDeg;
    // On the right side and abeam at mid-image, but 40 degrees round the earth.
    const auto middle = sarm::propagate(satellite, 5);
    const sarm::Vec3 up = (1 / norm(middle.position)) * middle.position;
    const sarm::Vec3 right = cross(middle.velocity, up);
    const sarm::Vec3 far = 6371e3 * (std::cos(0.7) * up + std::sin(0.7) / norm(right) * right);
    sarm::GroundPosition beyond;
    GeographicLib::Geocentric::WGS84().Reverse(far.x, far.y, far.z, beyond.latDeg, beyond.lonDeg,
                                               beyond.heightM);
    EXPECT_FALSE(model->groundToImage(beyond)) << "below the horizon";
    EXPECT_FALSE(model->imageToGround({-30000, 0}, 0)) << "range shorter than the height";
    EXPECT_FALSE(model->imageToGround({0, 20000}, 0)) << "long after the image";
    EXPECT_FALSE(model->imageToGround({nan, 0}, 0));
}

TEST(Model, APointsAnswerDependsNeitherOnNeighboursNorOnTheCopyOfTheModel) {
    std::mt19937_64 random(7);
    const RandomWorld world(random);
    const auto model = sarm::Model::fromRecord(*world.record);
    ASSERT_TRUE(model);
    const sarm::Model copy(model->parameters());
    std::uniform_real_distribution<double> part(-1, 2);
    std::vector<sarm::ImagePosition> image(1003), back(1003);
    for (auto& position : image)
        position = {part(random) * world.scene.samples, part(random) * world.scene.lines};
    std::vector<sarm::GroundPosition> ground(1003);
    model->imageToGround(image, ground);
    const std::size_t found = copy.groundToImage(ground, back);
    EXPECT_GT(found, 300u);
    EXPECT_LT(found, 1003u);
    const auto bits = [](double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; };
    for (std::size_t i = 0; i < image.size(); ++i) {
        const auto alone = copy.imageToGround(image[i], ground[i].heightM);
        ASSERT_EQ(alone.has_value(), !std::isnan(ground[i].lonDeg));
        if (!alone)
            continue;
        EXPECT_TRUE(bits(alone->lonDeg, ground[i].lonDeg) && bits(alone->latDeg, ground[i].latDeg));
        const auto position = model->groundToImage(ground[i]);
        EXPECT_TRUE(bits(position->line, back[i].line) && bits(position->sample, back[i].sample));
    }
}

TEST(Model, StatedIncidenceIsComparedWithTheAngleThatItStandsFor) {
    support::Scene scene; // ScanSAR: 20 to 49 degrees
    scene.samples = 10000;
    scene.pixelSpacing = 30;
    scene.nearRange = 830e3;
    const auto record = support::recordOf(scene, support::satelliteOver(20, 40, 350));
    const auto unstated = sarm::Model::fromRecord(*record);
    ASSERT_TRUE(unstated);
    const auto angle = [&](double sample) { return *unstated->incidenceDeg({sample, 2499.5}, 0); };
    const double mean = (angle(0) + angle(9999)) / 2, centre = angle(4999.5);
    ASSERT_GT(std::abs(mean - centre), 2.1);
    for (const auto& [stated, isMean, accepted] :
         {std::tuple{mean, true, true}, {mean, false, false}, {centre, false, true},
          {centre, true, false}, {mean + 2.1, true, false}}) {
        record->incidenceAngleCentre = stated;
        sarm_NoteHabits(record.get(), isMean ? sarmIncidenceIsEdgeMean : 0U);
        sarm_ModelEphemeris(record.get(), nullptr); // keeps what was told
        EXPECT_EQ(sarm::Model::fromRecord(*record).has_value(), accepted) << stated << isMean;
    }
}

TEST(Model, EveryWidthOfRegisterGivesTheSameAnswer) {
    std::mt19937_64 random(8);
    const auto kernels = sarm::usableModelKernels();
    for (int round = 0; round < 20; ++round) {
        const RandomWorld world(random);
        const auto model = sarm::Model::fromRecord(*world.record);
        ASSERT_TRUE(model);
        std::uniform_real_distribution<double> part(-0.1, 1.1);
        std::vector<sarm::ImagePosition> image(37), back(37);
        for (auto& position : image)
            position = {part(random) * world.scene.samples, part(random) * world.scene.lines};
        for (const sarm::ModelKernels& kernel : kernels) {
            std::vector<sarm::GroundPosition> ground(37);
            ASSERT_EQ(kernel.imageToGround(model->parameters(), image.data(), ground.data(), 37),
                      37u);
            ASSERT_EQ(
                kernels.back().groundToImage(model->parameters(), ground.data(), back.data(), 37),
                37u);
            for (std::size_t i = 0; i < image.size(); ++i) {
                EXPECT_NEAR(back[i].line, image[i].line, 1e-6);
                EXPECT_NEAR(back[i].sample, image[i].sample, 1e-6);
            }
        }
    }
}

TEST(Footprint, GoesAroundTheOuterPixelEdges) {
    support::Scene scene;
    const auto record = support::recordOf(scene, support::satelliteOver(20, 40, 0));
    record->geodeticTerrainHeight = 300;
    const auto model = sarm::Model::fromRecord(*record);
    ASSERT_TRUE(model);
    const auto outline = sarm::footprint(*model, 3);
    ASSERT_EQ(outline.size(), 12u);
    const sarm::ImagePosition corners[] = {
        {-0.5, -0.5}, {3999.5, -0.5}, {3999.5, 4999.5}, {-0.5, 4999.5}};
    for (std::size_t i = 0; i < 4; ++i) {
        const auto image = model->groundToImage(outline[3 * i]);
        ASSERT_TRUE(image);
        EXPECT_NEAR(image->sample, corners[i].sample, 1e-6);
        EXPECT_NEAR(image->line, corners[i].line, 1e-6);
        EXPECT_EQ(outline[3 * i].heightM, 300);
    }
}

} // namespace
