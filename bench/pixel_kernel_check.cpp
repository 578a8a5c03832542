// SPDX-License-Identifier: MIT
// Release check: the pixel kernels give the bits of the written rule for every pair of 16-bit parts
// (2^32 of them), as packed words and as floats, and for the phase of every float ratio from 0 to
// 1, with each kind of registers that this machine has. Minutes on all cores; exit status 1 after
// mismatches, of which the first are printed.

#include "pixel_kernels.h"
#include "support/pixel_targets.h"

#include <atomic>
#include <bit>
#include <cstdio>
#include <functional>
#include <thread>

namespace {

using namespace pixel_conversion;

constexpr std::size_t lineSize = 1U << 16;
constexpr std::size_t linesAtOnce = 64;
constexpr std::uint32_t bitsOfOne = 0x3F800000; // of the float 1

std::atomic<std::uint64_t> compared = 0, mismatches = 0;

/// Samples of one line in both forms, and what the rule makes of them.
struct Line {
    std::vector<std::uint32_t> words = std::vector<std::uint32_t>(lineSize);
    std::vector<float> real = std::vector<float>(lineSize);
    std::vector<float> imaginary = std::vector<float>(lineSize);
    std::vector<std::uint16_t> expected[2] = {std::vector<std::uint16_t>(lineSize),
                                              std::vector<std::uint16_t>(lineSize)};

    FloatBands bands() const { return {real.data(), imaginary.data()}; }

    template <class Samples>
    void applyRule(const Samples& samples, Quantity quantity) {
        auto& results = expected[quantity == Quantity::phase];
        for (std::size_t n = 0; n < lineSize; ++n) {
            const Sample sample = samples.at(n);
            results[n] = convert(sample.real, sample.imaginary, quantity, 1);
        }
    }

    template <class Samples>
    void compare(const Samples& samples, Quantity quantity, const std::string& target) const {
        thread_local std::vector<std::uint16_t> results(lineSize);
        convertRow(samples, {lineSize, quantity, 1, results.data()});
        const auto& right = expected[quantity == Quantity::phase];
        for (std::size_t n = 0; n < lineSize; ++n)
            if (results[n] != right[n] && mismatches++ < 20) {
                const Sample sample = samples.at(n);
                std::printf("%s %s of (%.9g, %.9g): %u, not %u\n", target.c_str(),
                            quantity == Quantity::phase ? "phase" : "magnitude", sample.real,
                            sample.imaginary, results[n], right[n]);
            }
        compared += lineSize;
    }
};

/// Runs `work` for each line on all cores.
void forLines(std::vector<Line>& lines, const std::function<void(Line&, std::size_t)>& work) {
    std::atomic<std::size_t> next = 0;
    std::vector<std::jthread> threads;
    for (unsigned t = 0; t < std::max(1U, std::thread::hardware_concurrency()); ++t)
        threads.emplace_back([&] {
            for (std::size_t n = next++; n < lines.size(); n = next++)
                work(lines[n], n);
        });
}

void onEveryTarget(std::vector<Line>& lines,
                   const std::function<void(const Line&, const std::string&)>& compare) {
    for (const std::int64_t target : support::pixelTargets()) {
        const std::string name = support::pixelTargetName(target);
        const support::UsePixelTarget used(target);
        forLines(lines, [&](Line& line, std::size_t) { compare(line, name); });
    }
}

void progress(const char* what, std::size_t done, std::size_t all) {
    std::fprintf(stderr, "\r%s: %5.1f %%", what,
                 100.0 * static_cast<double>(done) / static_cast<double>(all));
    if (done == all)
        std::fputc('\n', stderr);
}

/// A line has all real parts with one imaginary part.
void checkPairs(std::vector<Line>& lines) {
    for (std::size_t first = 0; first < lineSize; first += linesAtOnce) {
        forLines(lines, [&](Line& line, std::size_t number) {
            for (std::size_t n = 0; n < lineSize; ++n)
                line.words[n] = static_cast<std::uint32_t>((first + number) << 16 | n);
            const PackedWords packed{line.words.data()};
            for (std::size_t n = 0; n < lineSize; ++n) {
                line.real[n] = static_cast<float>(packed.at(n).real);
                line.imaginary[n] = static_cast<float>(packed.at(n).imaginary);
            }
            for (const auto quantity : {Quantity::magnitude, Quantity::phase})
                line.applyRule(packed, quantity);
        });
        onEveryTarget(lines, [](const Line& line, const std::string& target) {
            for (const auto quantity : {Quantity::magnitude, Quantity::phase}) {
                line.compare(PackedWords{line.words.data()}, quantity, target);
                line.compare(line.bands(), quantity, target);
            }
        });
        progress("16-bit pairs", first + linesAtOnce, lineSize);
    }
}

void checkRatios(std::vector<Line>& lines) {
    for (std::uint32_t first = 0; first < bitsOfOne; first += linesAtOnce * lineSize) {
        forLines(lines, [&](Line& line, std::size_t number) {
            for (std::size_t n = 0; n < lineSize; ++n) {
                line.real[n] = 1;
                line.imaginary[n] =
                    std::bit_cast<float>(static_cast<std::uint32_t>(first + number * lineSize + n));
            }
            line.applyRule(line.bands(), Quantity::phase);
        });
        onEveryTarget(lines, [](const Line& line, const std::string& target) {
            line.compare(line.bands(), Quantity::phase, target);
        });
        progress("float ratios", first + linesAtOnce * lineSize, bitsOfOne);
    }
}

} // namespace

int main() {
    std::vector<Line> lines(linesAtOnce);
    checkPairs(lines);
    checkRatios(lines);
    for (const std::int64_t target : support::pixelTargets())
        std::printf("%s ", support::pixelTargetName(target).c_str());
    std::printf("\n%llu results compared, %llu mismatches\n",
                static_cast<unsigned long long>(compared),
                static_cast<unsigned long long>(mismatches));
    return mismatches != 0;
}
