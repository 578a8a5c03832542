// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

/// The three radiometric calibration tables of a product, as the node ":Rs2_Calibration" carries
/// them. 72 bytes, little-endian, naturally aligned. A table has an offset and one gain per range
/// sample, in document order; one that was not read has a null pointer.
///
/// Ownership: the gain arrays are blocks of the host heap, freed with the record by its holder.
struct CalibrationLutRecord {
    double betaOffset;
    std::int32_t betaCount;
    std::int32_t betaPadding; ///< 0, like the two below
    double* betaGains;
    double sigmaOffset;
    std::int32_t sigmaCount;
    std::int32_t sigmaPadding;
    double* sigmaGains;
    double gammaOffset;
    std::int32_t gammaCount;
    std::int32_t gammaPadding;
    double* gammaGains;
};
static_assert(offsetof(CalibrationLutRecord, betaOffset) == 0);
static_assert(offsetof(CalibrationLutRecord, betaCount) == 8);
static_assert(offsetof(CalibrationLutRecord, betaGains) == 16);
static_assert(offsetof(CalibrationLutRecord, sigmaOffset) == 24);
static_assert(offsetof(CalibrationLutRecord, sigmaCount) == 32);
static_assert(offsetof(CalibrationLutRecord, sigmaGains) == 40);
static_assert(offsetof(CalibrationLutRecord, gammaOffset) == 48);
static_assert(offsetof(CalibrationLutRecord, gammaCount) == 56);
static_assert(offsetof(CalibrationLutRecord, gammaGains) == 64);
static_assert(sizeof(CalibrationLutRecord) == 72);
