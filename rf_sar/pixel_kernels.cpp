// SPDX-License-Identifier: MIT
#include "pixel_kernels.h"

#include <bit>
#include <type_traits>

// This file is compiled once for each kind of register, every time into a namespace of its own.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pixel_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace pixel_conversion {
namespace HWY_NAMESPACE {

template <class Samples>
void convertOneByOne(const Samples& samples, const Row& row) {
    for (std::size_t n = 0; n < row.count; ++n) {
        const Sample sample = samples.at(n);
        row.out[n] = convert(sample.real, sample.imaginary, row.quantity, row.scale);
    }
}

#if HWY_TARGET == HWY_SCALAR

template <class Samples>
void convertAll(const Samples& samples, const Row& row) {
    convertOneByOne(samples, row);
}

#else

namespace hn = hwy::HWY_NAMESPACE;

template <class D>
struct Parts {
    hn::Vec<D> real;
    hn::Vec<D> imaginary;
};

template <class D>
HWY_INLINE Parts<D> load(D d, const PackedWords& from, std::size_t at) {
    const hn::RebindToSigned<D> di;
    const auto words = hn::LoadU(di, reinterpret_cast<const std::int32_t*>(from.words + at));
    return {hn::ConvertTo(d, hn::ShiftRight<16>(hn::ShiftLeft<16>(words))),
            hn::ConvertTo(d, hn::ShiftRight<16>(words))};
}

template <class D>
HWY_INLINE Parts<D> load(D d, const FloatBands& from, std::size_t at) {
    return {hn::LoadU(d, from.real + at), hn::LoadU(d, from.imaginary + at)};
}

template <class D>
HWY_INLINE Parts<D> load(D d, const FloatPairs& from, std::size_t at) {
    Parts<D> parts;
    hn::LoadInterleaved2(d, from.parts + 2 * at, parts.real, parts.imaginary);
    return parts;
}

/// Stores the low halves of 32-bit integers.
template <class V>
HWY_INLINE void storeLow16(V wide, std::uint16_t* out) {
    const hn::RebindToUnsigned<hn::DFromV<V>> whole;
    const hn::Rebind<std::uint16_t, decltype(whole)> half;
    hn::StoreU(hn::TruncateTo(half, hn::BitCast(whole, wide)), half, out);
}

/// Added to a float below 2^22, it rounds the float to a whole number in the low bits of the sum;
/// the other bits are those of this constant.
constexpr float roundingNumber = 12582912.0F; // 1.5 * 2^23
constexpr std::int32_t roundingBits = 0x4B400000;

/// Magnitude of 16-bit integers at scale 1: the whole number nearest to the root, which is never
/// halfway between two. The float root has a relative error below 2^-23. Reduced by 2^-20 of
/// itself, it rounds to the result or to one less; integer arithmetic decides which.
struct WholeMagnitude {
    static constexpr hn::ScalableTag<std::int32_t> d{};

    HWY_INLINE void operator()(const PackedWords& from, std::size_t at, std::uint16_t* out) const {
        const hn::Repartition<std::int16_t, decltype(d)> d16;
        const hn::RebindToFloat<decltype(d)> df;
        const auto parts = hn::LoadU(d16, reinterpret_cast<const std::int16_t*>(from.words + at));
        // The largest sum, 2^31, wraps to -2^31; the remainder below wraps back.
        auto unused = hn::Zero(d);
        const auto sum = hn::ReorderWidenMulAccumulate(d, parts, parts, hn::Zero(d), unused);
        const auto root = hn::Sqrt(hn::Abs(hn::ConvertTo(df, sum)));
        const auto rounded =
            hn::MulAdd(root, hn::Set(df, 1 - 0x1p-20F), hn::Set(df, roundingNumber));
        const auto low = hn::Sub(hn::BitCast(d, rounded), hn::Set(d, roundingBits));
        // sqrt(sum) > low + 0.5, in integers
        const auto rest = hn::Sub(sum, hn::Mul(low, low));
        storeLow16(hn::Sub(low, hn::VecFromMask(d, hn::Gt(rest, low))), out);
    }
};

/// Magnitude by the plain rule: every step rounds as in the scalar code.
struct Magnitude {
    static constexpr hn::ScalableTag<double> d{};
    double scale;

    template <class Samples>
    HWY_INLINE void operator()(const Samples& from, std::size_t at, std::uint16_t* out) const {
        const hn::Rebind<float, decltype(d)> df;
        const hn::Rebind<std::int32_t, decltype(d)> di;
        const auto parts = load(df, from, at);
        const auto real = hn::PromoteTo(d, parts.real);
        const auto imaginary = hn::PromoteTo(d, parts.imaginary);
        const auto root = hn::Sqrt(hn::Add(hn::Mul(real, real), hn::Mul(imaginary, imaginary)));
        const auto value = hn::Add(hn::Mul(root, hn::Set(d, scale)), hn::Set(d, 0.5));
        // Values below the range become -2^31, whose low half is 0 as it must be.
        const auto fitting = hn::IfThenElseZero(hn::Lt(value, hn::Set(d, 2147483648.0)), value);
        storeLow16(hn::DemoteTo(di, fitting), out);
    }
};

/// Phase from a float arctangent of the smaller part over the larger. The rounded result is
/// uncertain only near half units: samples too near to one are computed by the plain rule.
struct Phase {
    static constexpr hn::ScalableTag<float> d{};

    template <class Samples>
    HWY_INLINE void operator()(const Samples& from, std::size_t at, std::uint16_t* out) const {
        const auto [real, imaginary] = load(d, from, at);
        const auto a = hn::Abs(real);
        const auto b = hn::Abs(imaginary);
        const Mask steep = hn::Lt(a, b);
        const Vec high = hn::IfThenElse(steep, b, a);
        const Vec low = hn::IfThenElse(steep, a, b);
        const Vec divisor = hn::IfThenElse(hn::Eq(high, hn::Zero(d)), hn::Set(d, 1.0F), high);
        const Vec angle = hn::Xor(arcTangent(hn::Div(low, divisor)), turnSign(steep, real));
        const Vec origin = turnOrigin(steep, real);
        const Vec rounded = hn::Add(angle, origin);
        storeLow16(cut(rounded, imaginary), out);
        // false for NaN too
        const Vec error = hn::Sub(angle, hn::Sub(rounded, origin));
        const Mask sure = hn::Lt(hn::Abs(error), hn::Set(d, 0.5F - uncertainty));
        if (HWY_UNLIKELY(!hn::AllTrue(d, sure)))
            byTheRule(from, at, hn::Not(sure), out);
    }

private:
    using Vec = hn::Vec<hn::ScalableTag<float>>;
    using Mask = hn::Mask<hn::ScalableTag<float>>;
    static constexpr hn::ScalableTag<std::int32_t> di{};

    /// Over every float ratio from 2^-30 to 1 the largest error, with the rounding of the ratio,
    /// is 0.00105 units.
    static constexpr float uncertainty = 0.0012F;

    /// @return the angle in units for a ratio in 0..1. Minimax polynomial, error 0.00006; the slope
    ///         of 8192 is separate because it adds no rounding.
    static HWY_INLINE Vec arcTangent(Vec ratio) {
        const Vec square = hn::Mul(ratio, ratio);
        Vec sum = hn::Set(d, 25.6245590F);
        sum = hn::MulAdd(sum, square, hn::Set(d, -150.211582F));
        sum = hn::MulAdd(sum, square, hn::Set(d, 414.933168F));
        sum = hn::MulAdd(sum, square, hn::Set(d, -754.622960F));
        sum = hn::MulAdd(sum, square, hn::Set(d, 1095.07978F));
        sum = hn::MulAdd(sum, square, hn::Set(d, -1477.06978F));
        sum = hn::MulAdd(sum, square, hn::Set(d, 2084.60569F));
        sum = hn::MulAdd(sum, square, hn::Set(d, -3476.71598F));
        sum = hn::MulAdd(sum, square, hn::Set(d, 2238.37717F));
        return hn::MulAdd(sum, ratio, hn::Mul(ratio, hn::Set(d, 8192.0F)));
    }

    // The magnitude of the phase is origin + angle or origin - angle, measured from the real axis,
    // or from the imaginary axis for steep samples. Signs are sign bits here, because -0.0 has one.

    static HWY_INLINE Vec turnSign(Mask steep, Vec real) {
        return hn::And(hn::Xor(hn::VecFromMask(d, steep), real), hn::Set(d, -0.0F));
    }

    /// @return 0, 16384 or 32768, plus the rounding number.
    static HWY_INLINE Vec turnOrigin(Mask steep, Vec real) {
        const auto left = hn::BroadcastSignBit(hn::BitCast(di, real));
        const auto flat = hn::OrAnd(hn::Set(di, roundingBits), left, hn::Set(di, 32768));
        return hn::IfThenElse(steep, hn::Set(d, roundingNumber + 16384), hn::BitCast(d, flat));
    }

    /// Gives the rounded magnitude the sample's sign. By the rule, +0.5 and truncation toward zero
    /// give the nearest number, plus 1 below zero. Only the low 16 bits of the result count.
    static HWY_INLINE hn::Vec<hn::ScalableTag<std::int32_t>> cut(Vec rounded, Vec imaginary) {
        const auto below = hn::BroadcastSignBit(hn::BitCast(di, imaginary));
        const auto size =
            hn::Max(hn::Add(hn::BitCast(di, rounded), below), hn::Set(di, roundingBits));
        return hn::Sub(hn::Xor(size, below), below);
    }

    template <class Samples>
    static HWY_NOINLINE void byTheRule(const Samples& from, std::size_t at, Mask which,
                                       std::uint16_t* out) {
        std::uint8_t bytes[8] = {};
        hn::StoreMaskBits(d, which, bytes);
        for (unsigned bits = bytes[0] | unsigned{bytes[1]} << 8; bits != 0; bits &= bits - 1) {
            const auto lane = static_cast<std::size_t>(std::countr_zero(bits));
            convertOneByOne(from.after(at + lane), {1, Quantity::phase, 1, out + lane});
        }
    }
};

/// The last two registers overlap if the row's length is no multiple of a register.
template <class Samples, class Kernel>
HWY_INLINE void forRegisters(const Samples& samples, const Row& row, const Kernel& kernel) {
    const std::size_t lanes = hn::Lanes(kernel.d);
    if (row.count < lanes)
        return convertOneByOne(samples, row);
    const std::size_t last = row.count - lanes;
    for (std::size_t at = 0; at < last; at += lanes)
        kernel(samples, at, row.out + at);
    kernel(samples, last, row.out + last);
}

template <class Samples>
void convertAll(const Samples& samples, const Row& row) {
    if (row.quantity == Quantity::phase)
        return forRegisters(samples, row, Phase{});
    // On other targets the sums of products are not those of neighbours.
    if constexpr (HWY_ARCH_X86 && std::is_same_v<Samples, PackedWords>)
        if (row.scale == 1)
            return forRegisters(samples, row, WholeMagnitude{});
    forRegisters(samples, row, Magnitude{row.scale});
}

#endif

void packedWords(const PackedWords& samples, const Row& row) {
    convertAll(samples, row);
}
void floatBands(const FloatBands& samples, const Row& row) {
    convertAll(samples, row);
}
void floatPairs(const FloatPairs& samples, const Row& row) {
    convertAll(samples, row);
}

} // namespace HWY_NAMESPACE
} // namespace pixel_conversion
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pixel_conversion {
namespace {

HWY_EXPORT(packedWords);
HWY_EXPORT(floatBands);
HWY_EXPORT(floatPairs);

} // namespace

void convertRow(const PackedWords& samples, const Row& row) {
    HWY_DYNAMIC_DISPATCH(packedWords)(samples, row);
}

void convertRow(const FloatBands& samples, const Row& row) {
    HWY_DYNAMIC_DISPATCH(floatBands)(samples, row);
}

void convertRow(const FloatPairs& samples, const Row& row) {
    HWY_DYNAMIC_DISPATCH(floatPairs)(samples, row);
}

} // namespace pixel_conversion
#endif
