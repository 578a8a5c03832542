// SPDX-License-Identifier: MIT
#pragma once

#include "product/radiometry/column_profile.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What products state, in one form for all families. Texts are UTF-8, and "" where a product
/// states nothing.
namespace product {

/// One image file of a product.
struct StatedImage {
    std::string file; ///< as the layers open it; it need not exist
    std::string name; ///< the same, relative to the folder of the product file
    std::string pole; ///< the polarization that the product states for exactly this file
    /// Samples are products of two polarizations; they have no calibration.
    bool isCrossProduct = false;
};

/// What a product is, known as soon as it is opened.
struct ProductFacts {
    std::string id; ///< the product's own, else its file's name
    std::string satellite;
    std::string productType;
    std::vector<std::string> polarizations; ///< the list as the product writes it
    std::vector<StatedImage> images;        ///< in the product's own order
    std::vector<std::string> documents;     ///< its metadata files; the first is the product file
    /// Why an existing document could not be read; the product opens without it.
    std::string fault;
    /// The samples are complex, but the layers have names of detected images.
    bool namedAsDetected = false;
    bool needsImages = false; ///< the plug-in does not open the product without its images
};

/// What a product states about each of its image files; empty or 0 where it states nothing.
struct ImageClaims {
    std::uint32_t width = 0, height = 0;
    std::optional<bool> isComplex;
    std::optional<bool> isFloating;
    unsigned bits = 0; ///< of a sample, or of each part of a complex one
};

/// When and how a product was acquired, and its grid. Times are ISO 8601 with Z.
struct Acquisition {
    std::string start, stop; ///< zero-Doppler times of the lines, the earlier one first; of the
                             ///< collection where the last line's is not stated
    std::string collectStart, collectStop; ///< of the collection, where it is stated by itself
    std::string productId;
    std::string beamMode;
    std::string pass;     ///< "ascending" or "descending"
    std::string lookSide; ///< "left" or "right"
    std::optional<double> nearIncidenceDeg, centreIncidenceDeg, farIncidenceDeg;
    std::optional<double> pixelSpacingM, lineSpacingM;
    std::string geometry; ///< "slant", "ground" or "map"
};

/// The radar and the processing, as catalogues ask for them.
struct RadarFacts {
    std::string band; ///< "C", "X"; "" where the plug-in's layers alone tell
    std::optional<double> centreFrequencyGHz;
    std::optional<double> rangeLooks, azimuthLooks, equivalentLooks;
    std::optional<double> rangeResolutionM, azimuthResolutionM;
    std::optional<double> rangeBandwidthHz, azimuthBandwidthHz; ///< of a look, the smallest beam's
};

/// An orbit state vector, earth-fixed; NaN where the text is no number.
struct StatedVector {
    std::string time; ///< as the product writes it
    std::array<double, 3> positionM{}, velocityMS{};
};

/// A stated word that should be one of a few known ones.
struct StatedWord {
    std::string file, path, word;
    std::vector<std::string_view> known; ///< compared without case
};

/// Times as the product writes them, for consistency checks.
struct StatedTimes {
    std::string first,
        last;                     ///< of the lines; "" where not stated
    double firstS = 0, lastS = 0; ///< GPS seconds; NaN where they are not known
    std::string order;            ///< "Increasing", "Decreasing" or ""
    double lineIntervalS = 0;     ///< between two lines, if the product states it directly; else 0
    std::vector<StatedVector> vectors;
    std::string collectStart, collectStop;
};

/// A point of the product's geolocation grid: (0, 0) is the centre of the first pixel.
struct TiePoint {
    double line = 0, sample = 0;
    double latDeg = 0, lonDeg = 0, heightM = 0;
};

/// A Doppler centroid estimate: the sum of coefficients[k] * (t - referenceTimeS)^k in Hz at the
/// two-way slant-range time t.
struct StatedDoppler {
    std::string time; ///< as the product writes it
    double referenceTimeS = 0;
    std::vector<double> coefficients;
};

/// A burst of a ScanSAR image: one beam during one dwell. All bursts of a product lie in one grid.
/// The product's line times, near range, tie points and table columns refer to that grid.
struct StatedBurst {
    std::string beam;
    int number = 0; ///< counts within its beam
    std::uint32_t lines = 0, samples = 0;
    std::int64_t lineOffset = 0, sampleOffset = 0; ///< of its first pixel in the grid
    std::vector<StatedImage> images;               ///< one a polarization
    double pulseRateHz = 0;                        ///< of its beam; 0 where it is not stated
    double azimuthBandwidthHz = 0;                 ///< likewise
    std::optional<StatedDoppler> doppler;          ///< its own

    std::int64_t endLine() const { return lineOffset + lines; }
    std::int64_t endSample() const { return sampleOffset + samples; }
    /// "SC50MA/2", as users name it.
    std::string name() const { return beam + '/' + std::to_string(number); }
};

/// A file that the plug-in reads instead of the product's own.
struct StandInFile {
    std::string name; ///< relative to the folder of the product file
    std::string content;
};

/// Names and texts, in order.
using TextItems = std::vector<std::pair<std::string, std::string>>;

enum class Radiometry { sigmaNought, betaNought, gamma };

/// Which table serves a polarization for one kind of radiometry.
struct CalibrationTable {
    Radiometry kind = Radiometry::sigmaNought;
    std::string pole; ///< "" where one table serves all polarizations
    std::string beam; ///< "" where one table serves all beams
    std::string file; ///< "" where a document itself states the scale
};

/// The content of a calibration table: amplitude gains for complex samples, power gains for
/// detected ones.
struct StatedGains {
    double offset = 0; ///< of power
    ColumnProfile gains;
    std::optional<double> scale; ///< replaces the gains: amplitude is sample times scale
};

/// Where the noise levels for an image are, for one kind of radiometry or several.
struct NoiseTable {
    std::string pole;   ///< "" where one serves all polarizations
    std::string beam;   ///< "" where one serves all beams
    std::string file;   ///< "" where a document itself holds the levels
    std::string source; ///< the file for errors to name
};

} // namespace product
