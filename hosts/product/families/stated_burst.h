#pragma once

#include "product/families/stated_image.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace product {

/// A Doppler centroid estimate: the sum of coefficients[k] * (t - referenceTimeS)^k in Hz at the
/// two-way slant-range time t.
struct StatedDoppler {
    std::string time; ///< as the product writes it
    double referenceTimeS = 0;
    std::vector<double> coefficients;
};

/// A piece of a ScanSAR image: one beam during one dwell. All pieces of a product lie in one grid;
/// the line times, the near range, the tie points and the columns of tables that the product
/// states are those of the grid.
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

} // namespace product
