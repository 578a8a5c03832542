// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

/// The SAR sensor model of one product, as every reader hands it to the SAR model library and as
/// the node ":SAR_Metadata" carries it. 736 bytes, little-endian, naturally aligned; the layout is
/// fixed byte for byte. Angles in degrees, lengths in metres, times in seconds of day (0 h UTC of
/// the day of the first line), frequencies in Hz; docs/coordinates.md tells the frames.
///
/// Ownership: the record and the six state-vector arrays are blocks of the host heap
/// (kmsc/kmsc.h); sarm_ReleaseMetadata frees them together.

/// f(t) = sum of coefficients[i] * (t - referenceTime)^i, in Hz.
struct DopplerPolynomial {
    double azimuthTime;                ///< s of day at which the polynomial applies
    double referenceTime;              ///< s, slant-range time that the powers count from
    std::int32_t numberOfCoefficients; ///< 0..6; 0 means no polynomial
    std::int32_t padding;              ///< 0
    double coefficients[6];            ///< constant term first, unused slots 0
};
static_assert(sizeof(DopplerPolynomial) == 72);
static_assert(offsetof(DopplerPolynomial, azimuthTime) == 0);
static_assert(offsetof(DopplerPolynomial, referenceTime) == 8);
static_assert(offsetof(DopplerPolynomial, numberOfCoefficients) == 16);
static_assert(offsetof(DopplerPolynomial, padding) == 20);
static_assert(offsetof(DopplerPolynomial, coefficients) == 24);

/// One component (say the earth-fixed x position) of all state vectors, in document order.
struct StateVectorComponent {
    std::int32_t count;   ///< equal to numberOfStateVectors
    std::int32_t padding; ///< 0
    double* values;       ///< host-heap array of `count` values, m or m/s
};
static_assert(sizeof(StateVectorComponent) == 16);
static_assert(offsetof(StateVectorComponent, count) == 0);
static_assert(offsetof(StateVectorComponent, values) == 8);

struct SarMetadataRecord {
    std::int32_t recordVersion;            ///< always 0
    std::int32_t passDirection;            ///< 1 ascending, 2 descending, 0 unknown
    std::int32_t productGeometry;          ///< 3 slant-range single-look complex, else 0
    std::int32_t beamModeClass;            ///< 1 stripmap, 2 spotlight, 3 ScanSAR, 0 other
    char sensorCode[4];                    ///< NUL-terminated text, "F"
    std::int32_t firstLineYear;            ///< calendar date of the first line (zero-Doppler time)
    std::int32_t firstLineMonth;           ///< 1..12
    std::int32_t firstLineDay;             ///< 1..31
    std::int32_t firstLineDayOfYear;       ///< 1..366
    std::int32_t numberOfSamplesPerLine;   ///< image width
    std::int32_t numberOfLines;            ///< image height
    std::int32_t padding02C;               ///< 0
    double stateVectorFirstTime;           ///< s of day, day changes folded by the readers
    double stateVectorFirstTime2;          ///< the same value again
    double stateVectorInterval;            ///< s between consecutive state vectors
    double stateVectorInterval2;           ///< the same value again
    double firstLineTime;                  ///< s of day, the earlier of first and last line
    double lastLineTime;                   ///< s of day, the later of the two
    double imageDuration;                  ///< s
    double semiMajorAxis;                  ///< m, reference ellipsoid
    double semiMinorAxis;                  ///< m
    double geodeticTerrainHeight;          ///< m above the ellipsoid, mean of the scene
    double lookDirection;                  ///< degrees: -90 left, +90 right, 0 unknown
    double incidenceAngleCentre;           ///< degrees
    double wavelength;                     ///< m
    double adcSamplingRate;                ///< Hz, range sampling rate
    double pulseRepetitionFrequency;       ///< Hz, effective
    double totalProcessedRangeBandwidth;   ///< Hz
    double totalProcessedAzimuthBandwidth; ///< Hz
    std::int32_t rangeWindowType;          ///< 1 Hamming, 2 Kaiser, 3 Flat, 0 other
    std::int32_t padding0BC;               ///< 0
    double rangeWindowCoefficient;         ///< -
    std::int32_t azimuthWindowType;        ///< as rangeWindowType
    std::int32_t padding0CC;               ///< 0
    double azimuthWindowCoefficient;       ///< -
    DopplerPolynomial dopplerCentroid[2];  ///< near the first line (or centre); near the last line
    double sampledPixelSpacing;            ///< m, along range
    double sampledLineSpacing;             ///< m, along azimuth
    double slantRangeNearEdge;             ///< m, slant range of the first range sample
    std::int32_t numberOfStateVectors;     ///< count
    std::int32_t rangeGeometry;            ///< 2 slant range, 1 ground range
    double groundToSlantRangeCoefficients[6];  ///< m, constant term first, unused slots 0
    std::int32_t pixelTimeOrdering;            ///< 0 increasing, 1 decreasing along a line
    std::int32_t lineTimeOrdering;             ///< 0 increasing, 1 decreasing down the image
    StateVectorComponent stateVectorXPosition; ///< m, earth-fixed
    StateVectorComponent stateVectorYPosition; ///< m
    StateVectorComponent stateVectorZPosition; ///< m
    StateVectorComponent stateVectorXVelocity; ///< m/s, earth-fixed
    StateVectorComponent stateVectorYVelocity; ///< m/s
    StateVectorComponent stateVectorZVelocity; ///< m/s
    std::int32_t ephemerisStatus;  ///< set to 0 by the readers before sarm_ModelEphemeris
    unsigned char modelArea[148];  ///< the SAR model library's own; readers never write it
    std::int32_t imageWindowValid; ///< 1 once the window below is set
    std::int32_t firstSample;      ///< 0
    std::int32_t lastSample;       ///< numberOfSamplesPerLine - 1
    std::int32_t sampleStep;       ///< 1
    std::int32_t sampleCount;      ///< numberOfSamplesPerLine
    std::int32_t firstLine;        ///< 0
    std::int32_t lastLine;         ///< numberOfLines - 1
    std::int32_t lineStep;         ///< 1
    std::int32_t lineCount;        ///< numberOfLines
    std::int32_t padding2DC;       ///< 0
};

#define RF_SAR_FIELD_AT(field, offset) static_assert(offsetof(SarMetadataRecord, field) == (offset))
RF_SAR_FIELD_AT(recordVersion, 0x000);
RF_SAR_FIELD_AT(passDirection, 0x004);
RF_SAR_FIELD_AT(productGeometry, 0x008);
RF_SAR_FIELD_AT(beamModeClass, 0x00C);
RF_SAR_FIELD_AT(sensorCode, 0x010);
RF_SAR_FIELD_AT(firstLineYear, 0x014);
RF_SAR_FIELD_AT(firstLineMonth, 0x018);
RF_SAR_FIELD_AT(firstLineDay, 0x01C);
RF_SAR_FIELD_AT(firstLineDayOfYear, 0x020);
RF_SAR_FIELD_AT(numberOfSamplesPerLine, 0x024);
RF_SAR_FIELD_AT(numberOfLines, 0x028);
RF_SAR_FIELD_AT(stateVectorFirstTime, 0x030);
RF_SAR_FIELD_AT(stateVectorFirstTime2, 0x038);
RF_SAR_FIELD_AT(stateVectorInterval, 0x040);
RF_SAR_FIELD_AT(stateVectorInterval2, 0x048);
RF_SAR_FIELD_AT(firstLineTime, 0x050);
RF_SAR_FIELD_AT(lastLineTime, 0x058);
RF_SAR_FIELD_AT(imageDuration, 0x060);
RF_SAR_FIELD_AT(semiMajorAxis, 0x068);
RF_SAR_FIELD_AT(semiMinorAxis, 0x070);
RF_SAR_FIELD_AT(geodeticTerrainHeight, 0x078);
RF_SAR_FIELD_AT(lookDirection, 0x080);
RF_SAR_FIELD_AT(incidenceAngleCentre, 0x088);
RF_SAR_FIELD_AT(wavelength, 0x090);
RF_SAR_FIELD_AT(adcSamplingRate, 0x098);
RF_SAR_FIELD_AT(pulseRepetitionFrequency, 0x0A0);
RF_SAR_FIELD_AT(totalProcessedRangeBandwidth, 0x0A8);
RF_SAR_FIELD_AT(totalProcessedAzimuthBandwidth, 0x0B0);
RF_SAR_FIELD_AT(rangeWindowType, 0x0B8);
RF_SAR_FIELD_AT(rangeWindowCoefficient, 0x0C0);
RF_SAR_FIELD_AT(azimuthWindowType, 0x0C8);
RF_SAR_FIELD_AT(azimuthWindowCoefficient, 0x0D0);
RF_SAR_FIELD_AT(dopplerCentroid, 0x0D8);
RF_SAR_FIELD_AT(sampledPixelSpacing, 0x168);
RF_SAR_FIELD_AT(sampledLineSpacing, 0x170);
RF_SAR_FIELD_AT(slantRangeNearEdge, 0x178);
RF_SAR_FIELD_AT(numberOfStateVectors, 0x180);
RF_SAR_FIELD_AT(rangeGeometry, 0x184);
RF_SAR_FIELD_AT(groundToSlantRangeCoefficients, 0x188);
RF_SAR_FIELD_AT(pixelTimeOrdering, 0x1B8);
RF_SAR_FIELD_AT(lineTimeOrdering, 0x1BC);
RF_SAR_FIELD_AT(stateVectorXPosition, 0x1C0);
RF_SAR_FIELD_AT(stateVectorYPosition, 0x1D0);
RF_SAR_FIELD_AT(stateVectorZPosition, 0x1E0);
RF_SAR_FIELD_AT(stateVectorXVelocity, 0x1F0);
RF_SAR_FIELD_AT(stateVectorYVelocity, 0x200);
RF_SAR_FIELD_AT(stateVectorZVelocity, 0x210);
RF_SAR_FIELD_AT(ephemerisStatus, 0x220);
RF_SAR_FIELD_AT(modelArea, 0x224);
RF_SAR_FIELD_AT(imageWindowValid, 0x2B8);
RF_SAR_FIELD_AT(firstSample, 0x2BC);
RF_SAR_FIELD_AT(lastSample, 0x2C0);
RF_SAR_FIELD_AT(sampleStep, 0x2C4);
RF_SAR_FIELD_AT(sampleCount, 0x2C8);
RF_SAR_FIELD_AT(firstLine, 0x2CC);
RF_SAR_FIELD_AT(lastLine, 0x2D0);
RF_SAR_FIELD_AT(lineStep, 0x2D4);
RF_SAR_FIELD_AT(lineCount, 0x2D8);
RF_SAR_FIELD_AT(padding2DC, 0x2DC);
static_assert(sizeof(SarMetadataRecord) == 736);
#undef RF_SAR_FIELD_AT
