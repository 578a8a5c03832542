// SPDX-License-Identifier: MIT
// Complex samples to magnitude and phase in memory: the kernels with each kind of registers,
// against the rule sample by sample and a copy of the same traffic without any arithmetic, in the
// same run. The counter is pixels per second of CPU time.

#include "pixel_kernels.h"
#include "support/pixel_targets.h"

#include <benchmark/benchmark.h>

#include <random>

namespace {

using namespace pixel_conversion;

constexpr std::size_t sampleCount = std::size_t{16} << 20; // beyond the caches

/// Speckle, as packed words and as two bands.
struct Scene {
    std::vector<std::uint32_t> words = std::vector<std::uint32_t>(sampleCount);
    std::vector<float> real = std::vector<float>(sampleCount);
    std::vector<float> imaginary = std::vector<float>(sampleCount);
    std::vector<std::uint16_t> results = std::vector<std::uint16_t>(sampleCount);

    Scene() {
        std::mt19937 random(1);
        std::normal_distribution<float> part(0, 3000);
        for (std::size_t n = 0; n < sampleCount; ++n) {
            real[n] = part(random);
            imaginary[n] = part(random);
            words[n] = static_cast<std::uint32_t>(static_cast<int>(imaginary[n])) << 16 |
                       (static_cast<std::uint32_t>(static_cast<int>(real[n])) & 0xFFFFU);
        }
    }
    PackedWords packed() const { return {words.data()}; }
    FloatBands bands() const { return {real.data(), imaginary.data()}; }
};

Scene& scene() {
    static Scene made;
    return made;
}

void countPixels(benchmark::State& state) {
    state.counters["pixels/s"] = benchmark::Counter(static_cast<double>(sampleCount),
                                                    benchmark::Counter::kIsIterationInvariantRate);
}

__attribute__((target_clones("arch=x86-64-v4", "avx2", "default"), optimize("O3"))) void
narrow(const std::uint32_t* __restrict from, std::uint16_t* __restrict to) {
    for (std::size_t n = 0; n < sampleCount; ++n)
        to[n] = static_cast<std::uint16_t>(from[n]);
}

void narrowingCopy(benchmark::State& state) {
    Scene& s = scene();
    for ([[maybe_unused]] auto _ : state) {
        narrow(s.words.data(), s.results.data());
        benchmark::ClobberMemory();
    }
    countPixels(state);
}

void sampleBySample(benchmark::State& state, Quantity quantity) {
    Scene& s = scene();
    const PackedWords words = s.packed();
    for ([[maybe_unused]] auto _ : state)
        for (std::size_t n = 0; n < sampleCount; ++n)
            s.results[n] = convert(words.at(n).real, words.at(n).imaginary, quantity, 1);
    countPixels(state);
}

template <class Samples>
void kernel(benchmark::State& state, const Samples& samples, Quantity quantity,
            std::int64_t target) {
    const support::UsePixelTarget used(target);
    for ([[maybe_unused]] auto _ : state)
        convertRow(samples, {sampleCount, quantity, 1, scene().results.data()});
    countPixels(state);
}

void registerAll() {
    const auto add = [](const std::string& name, auto run) {
        benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMillisecond);
    };
    add("narrowingCopy", narrowingCopy);
    for (const auto quantity : {Quantity::magnitude, Quantity::phase}) {
        const std::string what = quantity == Quantity::phase ? "phase" : "magnitude";
        add(what + "/rule", [=](benchmark::State& state) { sampleBySample(state, quantity); });
        for (const std::int64_t target : support::pixelTargets()) {
            const std::string with = support::pixelTargetName(target);
            if (with == "SCALAR")
                continue; // the rule itself
            add(what + "/packed/" + with, [=](benchmark::State& state) {
                kernel(state, scene().packed(), quantity, target);
            });
            add(what + "/floats/" + with,
                [=](benchmark::State& state) { kernel(state, scene().bands(), quantity, target); });
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    registerAll();
    benchmark::RunSpecifiedBenchmarks();
}
