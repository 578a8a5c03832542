#include "pixel_conversion.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>

namespace {

using namespace pixel_conversion;

std::uint32_t pack(int real, int imaginary) {
    return (static_cast<std::uint32_t>(imaginary) & 0xFFFFU) << 16 |
           (static_cast<std::uint32_t>(real) & 0xFFFFU);
}

/// The rule with other means: extended precision, and the 64-bit truncation where it fits.
std::uint16_t byHand(double real, double imaginary, Quantity quantity, double scale) {
    const double v = quantity == Quantity::magnitude
                         ? std::sqrt(std::pow(real, 2) + std::pow(imaginary, 2)) * scale
                         : std::atan2(imaginary, real) * 10430.3783505;
    const long double sum = static_cast<long double>(v + 0.5);
    if (!(sum > -2147483649.0L && sum < 2147483648.0L))
        return 0;
    return static_cast<std::uint16_t>(std::truncl(sum) - 65536.0L * std::floor(std::truncl(sum) / 65536.0L));
}

} // namespace

TEST(PixelConversion, KnownValues) {
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
    EXPECT_EQ(magnitude(3, 4, 0.25), 1);  // 1.25
    EXPECT_EQ(magnitude(3, 4, 20000), 34464); // 100000 wraps to its low 16 bits
    EXPECT_EQ(phase(1, 0), 0);
    EXPECT_EQ(phase(0, 1), 16384);  // 16384.0000 + 0.5
    EXPECT_EQ(phase(0, -1), -16383); // -16383.99… + 0.5 truncates toward zero
    EXPECT_EQ(static_cast<std::uint16_t>(phase(-1, 0)), 0x8000); // exactly pi
    EXPECT_EQ(phase(-1, -0.0), -32767);                          // -pi
    EXPECT_EQ(phase(0, 0), 0);
}

TEST(PixelConversion, FloatsBeyondTheRuleHaveDefinedResults) {
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const double bad : {inf, -inf, nan, 3e9, 1e30, double{FLT_MAX}}) {
        EXPECT_EQ(convert(bad, 0, Quantity::magnitude, 1), 0) << bad;
        EXPECT_EQ(convert(1, bad, Quantity::magnitude, 1), 0) << bad;
    }
    EXPECT_EQ(convert(2147483647.0, 0, Quantity::magnitude, 1), 0xFFFF); // just fits
    EXPECT_EQ(convert(nan, 1, Quantity::phase, 1), 0);
    EXPECT_EQ(convert(inf, inf, Quantity::phase, 1), 8192); // atan2 defines pi/4
    EXPECT_EQ(convert(FLT_TRUE_MIN, FLT_TRUE_MIN, Quantity::magnitude, 1), 0);
}

TEST(PixelConversion, EqualsTheRuleOnExtremesAndRandomSamples) {
    const std::uint32_t seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> any(-32768, 32767);
    std::vector<std::pair<int, int>> samples;
    for (const int i : {-32768, -32767, -2, -1, 0, 1, 2, 32766, 32767})
        for (const int q : {-32768, -32767, -2, -1, 0, 1, 2, 32766, 32767})
            samples.emplace_back(i, q);
    for (int n = 0; n < 20000; ++n)
        samples.emplace_back(any(random), any(random));

    const std::size_t count = samples.size();
    std::vector<std::uint32_t> words(count);
    std::vector<float> real(count), imaginary(count), pairs(2 * count);
    for (std::size_t n = 0; n < count; ++n) {
        words[n] = pack(samples[n].first, samples[n].second);
        real[n] = pairs[2 * n] = static_cast<float>(samples[n].first);
        imaginary[n] = pairs[2 * n + 1] = static_cast<float>(samples[n].second);
    }
    for (const auto quantity : {Quantity::magnitude, Quantity::phase})
        for (const double scale : {1.0, 0.37}) {
            std::vector<std::uint16_t> a(count), b(count), c(count);
            const auto out = [](auto& v) { return Output{v.data(), 0, 2}; };
            fromPacked(words.data(), count, 1, quantity, scale, out(a));
            fromFloats({real.data(), imaginary.data(), 1}, count, 1, quantity, scale, out(b));
            fromFloats({pairs.data(), pairs.data() + 1, 2}, count, 1, quantity, scale, out(c));
            for (std::size_t n = 0; n < count; ++n)
                ASSERT_EQ(a[n], byHand(samples[n].first, samples[n].second, quantity, scale))
                    << samples[n].first << ", " << samples[n].second;
            EXPECT_EQ(a, b);
            EXPECT_EQ(a, c);
        }
}

TEST(PixelConversion, WritesThroughTheStridesAndNothingBetween) {
    const std::uint32_t words[6] = {pack(3, 4), pack(6, 8), pack(5, 12),
                                    pack(8, 15), pack(7, 24), pack(20, 21)};
    std::vector<std::uint8_t> buffer(64, 0xEE);
    fromPacked(words, 3, 2, Quantity::magnitude, 1, {buffer.data() + 1, 20, 5});
    const int expected[2][3] = {{5, 10, 13}, {17, 25, 29}};
    for (std::size_t line = 0; line < 2; ++line)
        for (std::size_t column = 0; column < 3; ++column) {
            const std::size_t at = 1 + 20 * line + 5 * column;
            EXPECT_EQ(buffer[at] | buffer[at + 1] << 8, expected[line][column]);
            EXPECT_EQ(buffer[at + 2], 0xEE);
        }
    EXPECT_EQ(buffer[0], 0xEE);
}
