// SPDX-License-Identifier: MIT
#include "sarm/orbit_fit.h"

#include "platform/sarm/sar_record.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using sarm::StateVector;
using sarm::Vec3;

const StateVector satellite = support::satelliteOver(30, 45, 345);

/// Vectors of the true motion at times from 0, evenly spaced.
std::vector<StateVector> trueVectors(double arcS, int n) {
    std::vector<StateVector> vectors;
    for (int i = 0; i < n; ++i)
        vectors.push_back(sarm::propagate(satellite, arcS * i / (n - 1)));
    return vectors;
}

void addNoise(std::vector<StateVector>& vectors, double positionM, double velocityMS,
              unsigned seed) {
    std::mt19937_64 random(seed);
    std::normal_distribution<double> noise;
    for (StateVector& v : vectors) {
        v.position = v.position + positionM * Vec3{noise(random), noise(random), noise(random)};
        v.velocity = v.velocity + velocityMS * Vec3{noise(random), noise(random), noise(random)};
    }
}

/// Largest and rms; `line` is the shift along the track of a point at 900 km.
struct Errors {
    double positionM = 0, lineM = 0;
    double positionRmsM = 0, lineRmsM = 0;
};

Errors errorsWithin(const sarm::OrbitPolynomials& orbit, double fromS, double toS) {
    Errors errors;
    constexpr int count = 101;
    for (int i = 0; i < count; ++i) {
        const double time = fromS + (toS - fromS) * i / (count - 1);
        const StateVector fitted = sarm::stateAt(orbit, time);
        const StateVector truth = sarm::propagate(satellite, time);
        const double position = norm(fitted.position - truth.position);
        const double line = norm(fitted.velocity - truth.velocity) / 7500 * 9e5;
        errors.positionM = std::max(errors.positionM, position);
        errors.lineM = std::max(errors.lineM, line);
        errors.positionRmsM += position * position / count;
        errors.lineRmsM += line * line / count;
    }
    errors.positionRmsM = std::sqrt(errors.positionRmsM);
    errors.lineRmsM = std::sqrt(errors.lineRmsM);
    return errors;
}

TEST(Motion, AccelerationIsThePotentialsGradientInATurningFrame) {
    const double mass = 3.986004418e14, radius = 6378137, rate = 7.292115e-5;
    const auto potential = [&](const Vec3& p) {
        const double r = norm(p), u = p.z / r, q = radius / r;
        const double p2 = (3 * u * u - 1) / 2, p3 = (5 * u * u * u - 3 * u) / 2;
        const double p4 = (35 * u * u * u * u - 30 * u * u + 3) / 8;
        return mass / r *
                   (1 - 1.08262668e-3 * q * q * p2 + 2.53265649e-6 * q * q * q * p3 +
                    1.61962159e-6 * q * q * q * q * p4) +
               rate * rate * (p.x * p.x + p.y * p.y) / 2;
    };
    const Vec3 p = satellite.position;
    const double h = 500; // rounding of the potential against the third derivative
    const Vec3 gradient{(potential({p.x + h, p.y, p.z}) - potential({p.x - h, p.y, p.z})) / (2 * h),
                        (potential({p.x, p.y + h, p.z}) - potential({p.x, p.y - h, p.z})) / (2 * h),
                        (potential({p.x, p.y, p.z + h}) - potential({p.x, p.y, p.z - h})) /
                            (2 * h)};
    EXPECT_LT(norm(sarm::accelerationAt(p, {}) - gradient), 1e-7);
    const Vec3 coriolis = sarm::accelerationAt(p, {10, 20, 30}) - sarm::accelerationAt(p, {});
    EXPECT_LT(norm(coriolis - Vec3{2 * rate * 20, -2 * rate * 10, 0}), 1e-12);

    // The energy in the turning frame stays; a step's error would show.
    const auto energy = [&](const StateVector& s) {
        return dot(s.velocity, s.velocity) / 2 - potential(s.position);
    };
    EXPECT_NEAR(energy(sarm::propagate(satellite, 600)) / energy(satellite), 1, 1e-12);
}

TEST(OrbitFit, FollowsNoiseFreeArcsOfAnyLength) {
    const struct {
        double arcS;
        int vectors;
    } arcs[] = {{10, 5},  {24, 5},  {36, 5}, {60, 5},  {120, 5},
                {240, 5}, {480, 5}, {4, 2},  {480, 60}};
    for (const auto& arc : arcs) {
        const auto fit = sarm::fitOrbit(trueVectors(arc.arcS, arc.vectors), arc.arcS);
        ASSERT_TRUE(fit) << arc.arcS;
        EXPECT_NE(fit->method, sarm::OrbitMethod::dynamic);
        const Errors errors = errorsWithin(fit->orbit, 0, arc.arcS);
        EXPECT_LT(errors.positionM, 1e-3) << arc.arcS;
        EXPECT_LT(errors.lineM, 0.01) << arc.arcS;
    }
}

TEST(OrbitFit, SmoothsNoisyVectors) {
    // Noise as real products have it; an interpolator moves lines by 30 m on the first arc.
    const struct {
        double arcS;
        int vectors;
        double velocityNoiseMS;
        sarm::OrbitMethod method;
        double positionRmsM, lineRmsM;
    } cases[] = {{9, 10, 1e-3, sarm::OrbitMethod::separate, 0.15, 0.15},
                 {24, 5, 1e-3, sarm::OrbitMethod::separate, 0.25, 0.25},
                 {240, 5, 1e-3, sarm::OrbitMethod::joint, 0.15, 0.5},
                 {6, 7, 0.17, sarm::OrbitMethod::dynamic, 0.15, 5}};
    constexpr int seeds = 50;
    for (const auto& expected : cases) {
        double position = 0, line = 0;
        for (unsigned seed = 1; seed <= seeds; ++seed) {
            auto vectors = trueVectors(expected.arcS, expected.vectors);
            addNoise(vectors, 0.1, expected.velocityNoiseMS, seed);
            const auto fit = sarm::fitOrbit(vectors, expected.arcS);
            ASSERT_TRUE(fit);
            EXPECT_EQ(fit->method, expected.method) << expected.arcS << " seed " << seed;
            const Errors errors = errorsWithin(fit->orbit, 0, expected.arcS);
            position += errors.positionRmsM * errors.positionRmsM / seeds;
            line += errors.lineRmsM * errors.lineRmsM / seeds;
        }
        EXPECT_LT(std::sqrt(position), expected.positionRmsM) << expected.arcS;
        EXPECT_LT(std::sqrt(line), expected.lineRmsM) << expected.arcS;
    }
}

TEST(OrbitFit, IntegratesTheMotionWhereVectorsDoNotReach) {
    const auto one = sarm::fitOrbit(std::vector{sarm::propagate(satellite, -50)}, 20);
    ASSERT_TRUE(one);
    EXPECT_EQ(one->method, sarm::OrbitMethod::dynamic);
    EXPECT_LT(errorsWithin(one->orbit, -10, 30).positionM, 1e-3);

    const auto early = sarm::fitOrbit(trueVectors(10, 11), 60);
    ASSERT_TRUE(early);
    EXPECT_EQ(early->method, sarm::OrbitMethod::dynamic);
    EXPECT_LT(errorsWithin(early->orbit, -30, 90).positionM, 2e-3);
    EXPECT_LT(errorsWithin(early->orbit, -30, 90).lineM, 0.01);

    EXPECT_FALSE(sarm::fitOrbit({}, 10));
    EXPECT_FALSE(sarm::fitOrbit(trueVectors(4000, 50), 4000)) << "too long for one polynomial";
}

TEST(SelfTimed, FindsTheTimesOfUnevenVectors) {
    const double times[] = {0, 10, 24, 30, 43};
    std::vector<StateVector> vectors;
    for (const double time : times) {
        vectors.push_back(sarm::propagate(satellite, time));
        vectors.back().timeS = 10.0 * static_cast<double>(vectors.size() - 1);
    }
    const auto timed = sarm::selfTimed(vectors);
    for (std::size_t i = 0; i < timed.size(); ++i)
        EXPECT_NEAR(timed[i].timeS, times[i], 1e-5);
}

TEST(Model, TimesUnevenVectorsFromTheirMotion) {
    // Vectors every 0.2 s with every fifth left out, the first interval regular, as on-board orbits
    // come; the record keeps the first interval only.
    support::Scene scene;
    scene.durationS = 3.2;
    scene.lines = 19626;
    const auto record = support::recordOf(scene, satellite);
    sarm_NoteHabits(record.get(), sarmSpanOfWholeIntervals);
    std::vector<StateVector> vectors;
    for (int i = 0; i < 36; ++i)
        if (i % 5 != 3)
            vectors.push_back(sarm::propagate(satellite, -1.5 + 0.2 * i));
    support::setVectors(*record, vectors);
    record->stateVectorFirstTime = scene.startS - 1.5;
    record->stateVectorInterval = 0.2;
    const auto model = sarm::Model::fromRecord(*record);
    ASSERT_TRUE(model);
    EXPECT_TRUE(model->history().selfTimed);
    const double interval = scene.durationS / scene.lines; // as told
    for (const double line : {0.0, 9813.0, 19625.0}) {
        const auto ground = model->imageToGround({2000, line}, 0);
        ASSERT_TRUE(ground);
        const auto slow =
            support::bruteForce(scene, satellite, sarm::toEarthFixed(*ground, {}), interval);
        EXPECT_NEAR(slow.line, line, 0.05);
    }
    // Even vectors stay as the record has them, noise or not.
    addNoise(vectors = support::vectorsOf(scene, satellite), 0.1, 1e-3, 3);
    record->stateVectorFirstTime = scene.startS + (scene.durationS - scene.arcS) / 2;
    record->stateVectorInterval = scene.arcS / 4;
    support::setVectors(*record, vectors);
    EXPECT_FALSE(sarm::Model::fromRecord(*record)->history().selfTimed);
}

} // namespace
