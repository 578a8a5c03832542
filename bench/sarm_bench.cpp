// SPDX-License-Identifier: MIT
// Geolocation throughput beside GDAL's transformers, same points, same run: points a second.
//   sarm_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only
// The scene is a simulated 22.9 s C-band strip of 18465 x 30466 pixels; GDAL's transformers get the
// rational polynomials fitted to it, and a grid of 1364 ground control points.

#include "platform/sarm/gdal_rpc.h"
#include "platform/sarm/sar_record.h"
#include "sarm/model_kernels.h"

#include <benchmark/benchmark.h>
#include <gdal_alg.h>

#include <algorithm>
#include <random>
#include <string>

namespace {

constexpr std::size_t pointCount = 20000;

struct World {
    sarm::Model model;
    std::vector<sarm::ImagePosition> image;
    std::vector<sarm::GroundPosition> ground;
    // GDAL's arrays and its convention: (0, 0) is the corner of the first pixel.
    std::vector<double> pixel, line, lon, lat, height;
};

const World& world() {
    static const World made = [] {
        support::Scene scene;
        scene.durationS = scene.arcS = 22.9;
        scene.lines = 30466;
        scene.samples = 18465;
        scene.pixelSpacing = 4.73;
        const auto record = support::recordOf(scene, support::satelliteOver(20, 48, 192));
        World w{sarm::Model::fromRecord(*record).value(), {}, {}, {}, {}, {}, {}, {}};
        std::mt19937_64 random(1);
        std::uniform_real_distribution<double> sample(0, 18464), line(0, 30465), height(0, 500);
        for (std::size_t i = 0; i < pointCount; ++i) {
            w.image.push_back({sample(random), line(random)});
            w.ground.push_back(w.model.imageToGround(w.image[i], height(random)).value());
            w.pixel.push_back(w.image[i].sample + 0.5);
            w.line.push_back(w.image[i].line + 0.5);
            w.lon.push_back(w.ground[i].lonDeg);
            w.lat.push_back(w.ground[i].latDeg);
            w.height.push_back(w.ground[i].heightM);
        }
        return w;
    }();
    return made;
}

void countPoints(benchmark::State& state, std::size_t perRound) {
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(perRound));
}

void modelGroundToImage(benchmark::State& state) {
    const World& w = world();
    std::vector<sarm::ImagePosition> image(pointCount);
    for (auto _ : state)
        if (w.model.groundToImage(w.ground, image) != pointCount)
            state.SkipWithError("a point has no answer");
    countPoints(state, pointCount);
}
BENCHMARK(modelGroundToImage)->ThreadRange(1, 2)->UseRealTime();

void modelImageToGround(benchmark::State& state) {
    const World& w = world();
    std::vector<sarm::GroundPosition> ground = w.ground;
    for (auto _ : state)
        if (w.model.imageToGround(w.image, ground) != pointCount)
            state.SkipWithError("a point has no answer");
    countPoints(state, pointCount);
}
BENCHMARK(modelImageToGround)->ThreadRange(1, 2)->UseRealTime();

/// The solvers for each width of vector register, widest (Arg 0) first.
void kernelGroundToImage(benchmark::State& state) {
    const auto kernels = sarm::usableModelKernels();
    const auto width = static_cast<std::size_t>(state.range(0));
    if (width >= kernels.size())
        return state.SkipWithError("not on this machine");
    const World& w = world();
    std::vector<sarm::ImagePosition> image(pointCount);
    for (auto _ : state)
        kernels[width].groundToImage(w.model.parameters(), w.ground.data(), image.data(),
                                     pointCount);
    countPoints(state, pointCount);
}
BENCHMARK(kernelGroundToImage)->DenseRange(0, 2);

void kernelImageToGround(benchmark::State& state) {
    const auto kernels = sarm::usableModelKernels();
    const auto width = static_cast<std::size_t>(state.range(0));
    if (width >= kernels.size())
        return state.SkipWithError("not on this machine");
    const World& w = world();
    std::vector<sarm::GroundPosition> ground = w.ground;
    for (auto _ : state)
        kernels[width].imageToGround(w.model.parameters(), w.image.data(), ground.data(),
                                     pointCount);
    countPoints(state, pointCount);
}
BENCHMARK(kernelImageToGround)->DenseRange(0, 2);

void modelOnePointAtATime(benchmark::State& state) {
    const World& w = world();
    for (auto _ : state)
        for (const sarm::GroundPosition& ground : w.ground)
            benchmark::DoNotOptimize(w.model.groundToImage(ground));
    countPoints(state, pointCount);
}
BENCHMARK(modelOnePointAtATime);

void* rpcTransformer() {
    static void* const made = [] {
        const GDALRPCInfoV2 info = support::gdalRpc(sarm::fitRpc(world().model).value());
        return GDALCreateRPCTransformerV2(&info, FALSE, 0.01, nullptr);
    }();
    return made;
}

void* splineTransformer() {
    static void* const made = [] {
        std::vector<GDAL_GCP> points;
        for (int j = 0; j < 44; ++j)
            for (int i = 0; i < 31; ++i) {
                const sarm::ImagePosition at{18464.0 * i / 30, 30465.0 * j / 43};
                const auto ground = world().model.imageToGround(at, 250).value();
                GDAL_GCP point{};
                GDALInitGCPs(1, &point);
                point.dfGCPPixel = at.sample + 0.5;
                point.dfGCPLine = at.line + 0.5;
                point.dfGCPX = ground.lonDeg;
                point.dfGCPY = ground.latDeg;
                points.push_back(point);
            }
        return GDALCreateTPSTransformer(static_cast<int>(points.size()), points.data(), FALSE);
    }();
    return made;
}

/// GDAL's transformers overwrite their arrays: the copy is part of the loop, and negligible.
void gdalTransform(benchmark::State& state, GDALTransformerFunc transform, void* argument,
                   bool toImage, std::size_t count) {
    const World& w = world();
    std::vector<int> success(count);
    std::vector<double> x(count), y(count), z(count);
    for (auto _ : state) {
        std::copy_n((toImage ? w.lon : w.pixel).begin(), count, x.begin());
        std::copy_n((toImage ? w.lat : w.line).begin(), count, y.begin());
        std::copy_n(w.height.begin(), count, z.begin());
        transform(argument, toImage, static_cast<int>(count), x.data(), y.data(), z.data(),
                  success.data());
        benchmark::DoNotOptimize(x.data());
    }
    countPoints(state, count);
    double worst = 0;
    for (std::size_t i = 0; i < count; ++i)
        worst = std::max(worst, std::abs(x[i] - (toImage ? w.pixel : w.lon)[i]));
    state.counters["worst"] = worst; // pixel or degree, against the model
}

void gdalRpcGroundToImage(benchmark::State& state) {
    gdalTransform(state, GDALRPCTransform, rpcTransformer(), true, pointCount);
}
BENCHMARK(gdalRpcGroundToImage);

void gdalRpcImageToGround(benchmark::State& state) {
    gdalTransform(state, GDALRPCTransform, rpcTransformer(), false, pointCount);
}
BENCHMARK(gdalRpcImageToGround);

void gdalSplineGroundToImage(benchmark::State& state) {
    gdalTransform(state, GDALTPSTransform, splineTransformer(), true, 1000);
}
BENCHMARK(gdalSplineGroundToImage);

void gdalSplineImageToGround(benchmark::State& state) {
    gdalTransform(state, GDALTPSTransform, splineTransformer(), false, 1000);
}
BENCHMARK(gdalSplineImageToGround);

void buildModel(benchmark::State& state) {
    const auto record = support::recordOf({}, support::satelliteOver(20, 48, 192));
    for (auto _ : state)
        benchmark::DoNotOptimize(sarm::Model::fromRecord(*record));
}
BENCHMARK(buildModel);

void fitRpc(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(sarm::fitRpc(world().model));
}
BENCHMARK(fitRpc);

} // namespace

BENCHMARK_MAIN();
