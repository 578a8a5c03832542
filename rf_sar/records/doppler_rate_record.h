// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

/// The Doppler rate and Doppler centroid polynomials of a product, as the node ":Doppler" carries
/// them: f(t) = sum of coefficients[i] * (t - reference time)^i. 160 bytes, little-endian,
/// naturally aligned: the compiler leaves 4 bytes after every integer.
///
/// Ownership: the record and its arrays are blocks of the host heap, freed by the record's holder.
struct DopplerRateRecord {
    alignas(8) std::int32_t rateEstimateCount;        ///< 1
    alignas(8) std::int32_t rateTimeCount;            ///< 1, of rateTimes
    double* rateTimes;                                ///< s, reference time of the rate polynomial
    alignas(8) std::int32_t rateReferenceCount;       ///< 1, of rateReferenceTimes
    double* rateReferenceTimes;                       ///< s, the same time again
    alignas(8) std::int32_t rateCoefficientCount;     ///< coefficients of one estimate
    alignas(8) std::int32_t rateCoefficientTotal;     ///< of all estimates
    double* rateCoefficients;                         ///< Hz/s per power, constant term first
    alignas(8) std::int32_t centroidEstimateCount;    ///< 1
    alignas(8) std::int32_t centroidTimeCount;        ///< 1, of centroidTimes
    double* centroidTimes;                            ///< s of day of the estimate
    alignas(8) std::int32_t centroidReferenceCount;   ///< 1, of centroidReferenceTimes
    double* centroidReferenceTimes;                   ///< s, reference time of the polynomial
    alignas(8) std::int32_t centroidCoefficientCount; ///< coefficients of one estimate
    alignas(8) std::int32_t centroidCoefficientTotal; ///< of all estimates
    double* centroidCoefficients;                     ///< Hz per power, constant term first
    unsigned char reserved[32];                       ///< 0
};
static_assert(offsetof(DopplerRateRecord, rateEstimateCount) == 0);
static_assert(offsetof(DopplerRateRecord, rateTimeCount) == 8);
static_assert(offsetof(DopplerRateRecord, rateTimes) == 16);
static_assert(offsetof(DopplerRateRecord, rateReferenceCount) == 24);
static_assert(offsetof(DopplerRateRecord, rateReferenceTimes) == 32);
static_assert(offsetof(DopplerRateRecord, rateCoefficientCount) == 40);
static_assert(offsetof(DopplerRateRecord, rateCoefficientTotal) == 48);
static_assert(offsetof(DopplerRateRecord, rateCoefficients) == 56);
static_assert(offsetof(DopplerRateRecord, centroidEstimateCount) == 64);
static_assert(offsetof(DopplerRateRecord, centroidTimeCount) == 72);
static_assert(offsetof(DopplerRateRecord, centroidTimes) == 80);
static_assert(offsetof(DopplerRateRecord, centroidReferenceCount) == 88);
static_assert(offsetof(DopplerRateRecord, centroidReferenceTimes) == 96);
static_assert(offsetof(DopplerRateRecord, centroidCoefficientCount) == 104);
static_assert(offsetof(DopplerRateRecord, centroidCoefficientTotal) == 112);
static_assert(offsetof(DopplerRateRecord, centroidCoefficients) == 120);
static_assert(offsetof(DopplerRateRecord, reserved) == 128);
static_assert(sizeof(DopplerRateRecord) == 160);
