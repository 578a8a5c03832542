// SPDX-License-Identifier: MIT
#include "pixel_kernels.h"
#include "support/pixel_targets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <limits>
#include <random>

namespace {

using namespace pixel_conversion;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::uint32_t strata = 1U << 11; // a side of the plane of 16-bit pairs
#else
constexpr std::uint32_t strata = 1U << 12;
#endif

std::uint32_t pack(int real, int imaginary) {
    return (static_cast<std::uint32_t>(imaginary) & 0xFFFFU) << 16 |
           (static_cast<std::uint32_t>(real) & 0xFFFFU);
}

/// The rule with other means: extended precision, and the remainder in place of bits.
std::uint16_t byHand(double real, double imaginary, Quantity quantity, double scale) {
    const double v = quantity == Quantity::magnitude
                         ? std::sqrt(std::pow(real, 2) + std::pow(imaginary, 2)) * scale
                         : std::atan2(imaginary, real) * 10430.3783505;
    const long double sum = static_cast<long double>(v + 0.5);
    if (!(sum > -2147483649.0L && sum < 2147483648.0L))
        return 0;
    return static_cast<std::uint16_t>(std::truncl(sum) -
                                      65536.0L * std::floor(std::truncl(sum) / 65536.0L));
}

/// Converts the row with every kind of registers and compares with the rule, sample by sample.
template <class Samples>
void expectTheRule(const Samples& samples, std::size_t count, Quantity quantity, double scale) {
    std::vector<std::uint16_t> expected(count);
    for (std::size_t n = 0; n < count; ++n)
        expected[n] = convert(samples.at(n).real, samples.at(n).imaginary, quantity, scale);
    for (const std::int64_t target : support::pixelTargets()) {
        const support::UsePixelTarget used(target);
        std::vector<std::uint16_t> results(count, 0xBEEF);
        convertRow(samples, {count, quantity, scale, results.data()});
        const auto wrong = std::mismatch(expected.begin(), expected.end(), results.begin());
        const auto n = static_cast<std::size_t>(wrong.first - expected.begin());
        if (n < count)
            ADD_FAILURE() << support::pixelTargetName(target)
                          << (quantity == Quantity::phase ? " phase" : " magnitude") << " at scale "
                          << scale << ", sample " << n << " of " << count << " ("
                          << samples.at(n).real << ", " << samples.at(n).imaginary
                          << "): " << results[n] << ", not " << expected[n];
    }
}

class PixelConversion : public testing::Test {
protected:
    std::uint32_t seed = std::random_device{}();
    testing::ScopedTrace trace{__FILE__, __LINE__, "seed " + std::to_string(seed)};
    std::mt19937 random{seed};

    std::uint32_t anyBits() { return static_cast<std::uint32_t>(random()); }
};

} // namespace

TEST_F(PixelConversion, KnownValues) {
    const auto magnitude = [](double i, double q, double scale = 1) {
        return convert(i, q, Quantity::magnitude, scale);
    };
    const auto phase = [](double i, double q) {
        return static_cast<std::int16_t>(convert(i, q, Quantity::phase, 1));
    };
    EXPECT_EQ(magnitude(3, 4), 5);
    EXPECT_EQ(magnitude(1, 1), 1); // 1.414 + 0.5 truncates to 1
    EXPECT_EQ(magnitude(1, -2), 2);
    EXPECT_EQ(magnitude(-32768, -32768), 46341);
    EXPECT_EQ(magnitude(3, 4, 0.25), 1);      // 1.25
    EXPECT_EQ(magnitude(3, 4, 20000), 34464); // 100000 wraps to its low 16 bits
    EXPECT_EQ(phase(1, 0), 0);
    EXPECT_EQ(phase(0, 1), 16384);   // 16384.0000 + 0.5
    EXPECT_EQ(phase(0, -1), -16383); // -16383.99… + 0.5 truncates toward zero
    EXPECT_EQ(static_cast<std::uint16_t>(phase(-1, 0)), 0x8000); // exactly pi
    EXPECT_EQ(phase(-1, -0.0), -32767);                          // -pi
    EXPECT_EQ(phase(0, 0), 0);
}

TEST_F(PixelConversion, FloatsBeyondTheRuleHaveDefinedResults) {
    for (const double bad : {infinity, -infinity, notANumber, 3e9, 1e30, double{FLT_MAX}}) {
        EXPECT_EQ(convert(bad, 0, Quantity::magnitude, 1), 0) << bad;
        EXPECT_EQ(convert(1, bad, Quantity::magnitude, 1), 0) << bad;
    }
    EXPECT_EQ(convert(2147483647.0, 0, Quantity::magnitude, 1), 0xFFFF); // just fits
    EXPECT_EQ(convert(notANumber, 1, Quantity::phase, 1), 0);
    EXPECT_EQ(convert(infinity, infinity, Quantity::phase, 1), 8192); // atan2 defines pi/4
    EXPECT_EQ(convert(FLT_TRUE_MIN, FLT_TRUE_MIN, Quantity::magnitude, 1), 0);
}

TEST_F(PixelConversion, EqualsTheRuleByHand) {
    std::uniform_int_distribution<int> any(-32768, 32767);
    for (int n = 0; n < 20000; ++n) {
        const double i = any(random), q = any(random) / 8.0;
        for (const auto quantity : {Quantity::magnitude, Quantity::phase})
            for (const double scale : {1.0, 0.37, -40000.0})
                ASSERT_EQ(convert(i, q, quantity, scale), byHand(i, q, quantity, scale))
                    << i << ", " << q;
    }
}

TEST_F(PixelConversion, AllRegistersGiveTheBitsOfTheRuleForPackedWords) {
    std::vector<std::uint32_t> words;
    for (const int i : {-32768, -32767, -2, -1, 0, 1, 2, 32766, 32767})
        for (const int q : {-32768, -32767, -2, -1, 0, 1, 2, 32766, 32767})
            words.push_back(pack(i, q));
    for (const auto quantity : {Quantity::magnitude, Quantity::phase})
        for (const double scale : {0.37, 1e6, -1.0, notANumber})
            expectTheRule(PackedWords{words.data()}, words.size(), quantity, scale);
    // one pair anywhere in each square of the plane
    const std::uint32_t step = 65536 / strata;
    for (std::uint32_t q = 0; q < 65536; q += step)
        for (std::uint32_t i = 0; i < 65536; i += step) {
            const std::uint32_t within = anyBits();
            words.push_back((q + within % step) << 16 | (i + (within >> 16) % step));
        }
    for (const auto quantity : {Quantity::magnitude, Quantity::phase})
        expectTheRule(PackedWords{words.data()}, words.size(), quantity, 1);
}

TEST_F(PixelConversion, AllRegistersGiveTheBitsOfTheRuleForAnyFloats) {
    std::vector<float> real, imaginary, pairs;
    const auto add = [&](float i, float q) {
        real.push_back(i);
        imaginary.push_back(q);
        pairs.insert(pairs.end(), {i, q});
    };
    std::vector<float> odd;
    for (const double value : {0.0, double{FLT_TRUE_MIN}, 1e-40, double{FLT_MIN}, 0.5, 1.0, 46341.5,
                               2147483520.0, 2147483648.0, double{FLT_MAX}, infinity, notANumber})
        for (const double sign : {1.0, -1.0})
            odd.push_back(static_cast<float>(sign * value));
    for (const float i : odd)
        for (const float q : odd)
            add(i, q);
    std::normal_distribution<float> speckle(0, 3000);
    std::uniform_int_distribution<int> half(-32768, 32767);
    for (int n = 0; n < 100000; ++n) {
        add(std::bit_cast<float>(anyBits()), std::bit_cast<float>(anyBits()));
        add(speckle(random), speckle(random));
        // where a phase steps from a whole number to the next
        const double edge = (half(random) + 0.5) / 10430.3783505,
                     far = std::exp(speckle(random) / 100);
        add(static_cast<float>(far * std::cos(edge)), static_cast<float>(far * std::sin(edge)));
    }
    for (const auto quantity : {Quantity::magnitude, Quantity::phase})
        for (const double scale : {1.0, 0.37, -1e6}) {
            expectTheRule(FloatBands{real.data(), imaginary.data()}, real.size(), quantity, scale);
            expectTheRule(FloatPairs{pairs.data()}, real.size(), quantity, scale);
        }
}

TEST_F(PixelConversion, RowsOfAnyLengthAndStridesLeaveTheRestAlone) {
    constexpr std::size_t width = 2500, before = 8;
    std::vector<std::uint32_t> words(2 * width);
    for (auto& word : words)
        word = anyBits();
    const PackedWords samples{words.data()};
    const auto expectWritten = [&](std::size_t columns, std::size_t lines,
                                   std::ptrdiff_t lineStride, std::ptrdiff_t pixelStride,
                                   std::size_t first) {
        std::vector<std::uint8_t> written(before + lines * 5 * columns + 64, 0xEE), right = written;
        for (std::size_t n = 0; n < columns * lines; ++n) {
            const Sample sample = samples.at(n);
            const auto value = convert(sample.real, sample.imaginary, Quantity::phase, 1);
            const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(first) +
                                      static_cast<std::ptrdiff_t>(n / columns) * lineStride +
                                      static_cast<std::ptrdiff_t>(n % columns) * pixelStride;
            right[static_cast<std::size_t>(at)] = static_cast<std::uint8_t>(value & 0xFF);
            right[static_cast<std::size_t>(at) + 1] = static_cast<std::uint8_t>(value >> 8);
        }
        fromPacked(words.data(), columns, lines, Quantity::phase, 1,
                   {written.data() + first, lineStride, pixelStride});
        EXPECT_EQ(written, right) << columns << " columns, strides " << lineStride << ", "
                                  << pixelStride;
    };
    for (const std::int64_t target : support::pixelTargets()) {
        const support::UsePixelTarget used(target);
        for (std::size_t columns = 0; columns < 70; ++columns)
            for (const std::ptrdiff_t gap : {0, 6})
                expectWritten(columns, 2, static_cast<std::ptrdiff_t>(2 * columns) + gap, 2,
                              before);
    }
    expectWritten(width, 2, 5 * width, 5, before + 1); // gaps after every pixel
    expectWritten(width, 2, 2 * width, 2, before + 1); // odd addresses
    expectWritten(width, 2, -2 * static_cast<std::ptrdiff_t>(width), 2,
                  before + 2 * width); // upward
}
