#include "pixel_kernels.h"

#include <algorithm>
#include <bit>

// This file is compiled once for every kind of register; each pass makes a namespace of its own.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pixel_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#ifndef RF_SAR_PIXEL_KERNELS_ONCE
#define RF_SAR_PIXEL_KERNELS_ONCE
namespace pixel_conversion {

struct Sample {
    double real;
    double imaginary;
};

inline Sample sampleAt(const PackedWords& from, std::size_t at) {
    return {static_cast<double>(static_cast<std::int16_t>(from.words[at] & 0xFFFFU)),
            static_cast<double>(static_cast<std::int16_t>(from.words[at] >> 16))};
}
inline Sample sampleAt(const FloatBands& from, std::size_t at) {
    return {from.real[at], from.imaginary[at]};
}
inline Sample sampleAt(const FloatPairs& from, std::size_t at) {
    return {from.parts[2 * at], from.parts[2 * at + 1]};
}

/// How to convert a run.
struct Request {
    std::size_t count;
    Quantity quantity;
    double scale;
    std::uint16_t* out;
};

template <class Samples>
void convertOneByOne(const Samples& samples, const Request& request) {
    for (std::size_t at = 0; at < request.count; ++at) {
        const Sample sample = sampleAt(samples, at);
        request.out[at] = convert(sample.real, sample.imaginary, request.quantity, request.scale);
    }
}

} // namespace pixel_conversion
#endif

HWY_BEFORE_NAMESPACE();
namespace pixel_conversion {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_SCALAR

template <class Samples>
void run(const Samples& samples, const Request& request) {
    convertOneByOne(samples, request);
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

/// Stores the low 16 bits of 32-bit integers.
template <class V>
HWY_INLINE void storeLow16(V wide, std::uint16_t* out) {
    const hn::Rebind<std::uint16_t, hn::DFromV<V>> narrow;
    const hn::RebindToUnsigned<hn::DFromV<V>> whole;
    hn::StoreU(hn::TruncateTo(narrow, hn::BitCast(whole, wide)), narrow, out);
}

/// sqrt(I^2 + Q^2) of 16-bit integers, rounded to nearest, which is what the rule comes to at
/// scale 1. The float root is within 0.005 of the true one, so 0.01 less rounds to the result k or
/// to k - 1; k is right where the sum of squares exceeds (k - 1)^2 by more than k - 1.
struct PackedMagnitude {
    static constexpr hn::ScalableTag<std::int32_t> d{};

    HWY_INLINE void operator()(const PackedWords& from, std::size_t at, std::uint16_t* out) const {
        const hn::RebindToFloat<decltype(d)> df;
        const auto words = hn::LoadU(d, reinterpret_cast<const std::int32_t*>(from.words + at));
        const auto real = hn::ShiftRight<16>(hn::ShiftLeft<16>(words));
        const auto imaginary = hn::ShiftRight<16>(words);
        const auto sum = hn::Add(hn::Mul(real, real), hn::Mul(imaginary, imaginary));
        // The largest sum, 2^31, reads as -2^31: so do differences, and its float is made positive.
        const auto root = hn::Sqrt(hn::Abs(hn::ConvertTo(df, sum)));
        const auto low = hn::NearestInt(hn::Sub(root, hn::Set(df, 0.01F)));
        const auto rest = hn::Sub(sum, hn::Mul(low, low));
        storeLow16(hn::Sub(low, hn::VecFromMask(d, hn::Gt(rest, low))), out);
    }
};

/// The rule as it is written.
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
        const auto root =
            hn::Sqrt(hn::Add(hn::Mul(real, real), hn::Mul(imaginary, imaginary)));
        const auto value = hn::Add(hn::Mul(root, hn::Set(d, scale)), hn::Set(d, 0.5));
        // What is below the range saturates to a number whose low half is 0 as well.
        const auto fitting = hn::IfThenElseZero(hn::Lt(value, hn::Set(d, 2147483648.0)), value);
        storeLow16(hn::DemoteTo(di, fitting), out);
    }
};

struct Phase {
    static constexpr hn::ScalableTag<float> d{};

    template <class Samples>
    HWY_INLINE void operator()(const Samples& from, std::size_t at, std::uint16_t* out) const {
        const auto [real, imaginary] = load(d, from, at);
        const auto a = hn::Abs(real);
        const auto b = hn::Abs(imaginary);
        const auto steep = hn::Lt(a, b);
        const auto high = hn::IfThenElse(steep, b, a);
        const auto low = hn::IfThenElse(steep, a, b);
        const auto one = hn::Set(d, 1.0F);
        const auto zero = hn::Zero(d);
        const auto ratio = hn::Div(low, hn::IfThenElse(hn::Eq(high, zero), one, high));
        const auto angle = arcTangent(ratio);
        const auto whole = hn::Round(angle);
        const auto sure =
            hn::Lt(hn::Abs(hn::Sub(angle, whole)), hn::Set(d, 0.5F - uncertainty));
        storeLow16(inFullCircle(whole, steep, real, imaginary), out);
        if (HWY_UNLIKELY(!hn::AllTrue(d, sure)))
            repair(from, at, hn::Not(sure), out);
    }

private:
    using V = hn::Vec<hn::ScalableTag<float>>;
    using M = hn::Mask<hn::ScalableTag<float>>;
    static constexpr float uncertainty = 0.001F;

    static HWY_INLINE V arcTangent(V ratio) {
        const auto c = [](double value) HWY_ATTR { return hn::Set(d, static_cast<float>(value)); };
        const auto z = hn::Mul(ratio, ratio);
        auto sum = c(25.624559045304864);
        sum = hn::MulAdd(sum, z, c(-150.21158219271766));
        sum = hn::MulAdd(sum, z, c(414.93316759041187));
        sum = hn::MulAdd(sum, z, c(-754.6229598751877));
        sum = hn::MulAdd(sum, z, c(1095.0797817538023));
        sum = hn::MulAdd(sum, z, c(-1477.0697794768946));
        sum = hn::MulAdd(sum, z, c(2084.605691813703));
        sum = hn::MulAdd(sum, z, c(-3476.715984027861));
        sum = hn::MulAdd(sum, z, c(10430.377165430224 - 8192));
        return hn::MulAdd(sum, ratio, hn::Mul(ratio, c(8192)));
    }

    static HWY_INLINE auto inFullCircle(V angle, M steep, V real, V imaginary) {
        const hn::RebindToSigned<decltype(d)> di;
        const auto turned = hn::Xor(hn::VecFromMask(d, steep), real);
        const auto signedAngle = hn::Xor(angle, hn::And(turned, hn::Set(d, -0.0F)));
        const auto realSign = hn::BroadcastSignBit(hn::BitCast(di, real));
        const auto base = hn::IfThenElse(hn::RebindMask(di, steep), hn::Set(di, 16384),
                                         hn::And(realSign, hn::Set(di, 32768)));
        const auto half = hn::Add(base, hn::ConvertTo(di, signedAngle));
        const auto sign = hn::BroadcastSignBit(hn::BitCast(di, imaginary));
        const auto below = hn::Max(hn::Add(half, sign), hn::Zero(di));
        return hn::Sub(hn::Xor(below, sign), sign);
    }

    template <class Samples>
    static HWY_NOINLINE void repair(const Samples& from, std::size_t at, M unsure,
                                    std::uint16_t* out) {
        std::uint8_t bytes[8] = {};
        hn::StoreMaskBits(d, unsure, bytes);
        unsigned bits = bytes[0] | static_cast<unsigned>(bytes[1]) << 8;
        for (; bits != 0; bits &= bits - 1) {
            const auto lane = static_cast<std::size_t>(std::countr_zero(bits));
            const Sample sample = sampleAt(from, at + lane);
            out[lane] = convert(sample.real, sample.imaginary, Quantity::phase, 1);
        }
    }
};

/// The last registers of a run overlap, so that none is partly filled.
template <class Samples, class Kernel>
HWY_INLINE void forRegisters(const Samples& samples, const Request& request, const Kernel& kernel) {
    const std::size_t lanes = hn::Lanes(kernel.d);
    if (request.count < lanes)
        return convertOneByOne(samples, request);
    std::size_t at = 0;
    for (; at + lanes <= request.count; at += lanes)
        kernel(samples, at, request.out + at);
    if (at < request.count)
        kernel(samples, request.count - lanes, request.out + request.count - lanes);
}

template <class Samples>
void run(const Samples& samples, const Request& request) {
    if (request.quantity == Quantity::phase)
        return forRegisters(samples, request, Phase{});
    if constexpr (std::is_same_v<Samples, PackedWords>)
        if (request.scale == 1)
            return forRegisters(samples, request, PackedMagnitude{});
    forRegisters(samples, request, Magnitude{request.scale});
}

#endif

void runPacked(const PackedWords& samples, const Request& request) { run(samples, request); }
void runBands(const FloatBands& samples, const Request& request) { run(samples, request); }
void runPairs(const FloatPairs& samples, const Request& request) { run(samples, request); }

} // namespace HWY_NAMESPACE
} // namespace pixel_conversion
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace pixel_conversion {
namespace {

HWY_EXPORT(runPacked);
HWY_EXPORT(runBands);
HWY_EXPORT(runPairs);

} // namespace

void convertRun(const PackedWords& samples, std::size_t count, Quantity quantity, double scale,
                std::uint16_t* out) {
    HWY_DYNAMIC_DISPATCH(runPacked)(samples, {count, quantity, scale, out});
}
void convertRun(const FloatBands& samples, std::size_t count, Quantity quantity, double scale,
                std::uint16_t* out) {
    HWY_DYNAMIC_DISPATCH(runBands)(samples, {count, quantity, scale, out});
}
void convertRun(const FloatPairs& samples, std::size_t count, Quantity quantity, double scale,
                std::uint16_t* out) {
    HWY_DYNAMIC_DISPATCH(runPairs)(samples, {count, quantity, scale, out});
}

} // namespace pixel_conversion
#endif
