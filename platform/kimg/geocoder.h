#pragma once

#include "kimg/georeferencing.h"
#include "kimg/tiff_writer.h"
#include "rf_platform_api.h"

namespace kimg {

/// An image that is read tile by tile.
struct TileSource {
    std::uint32_t width = 0, height = 0;
    SampleType type = SampleType::uint16;
    std::string name; ///< of the band
    Georeferencing place;
    /// Fills TiffWriter::tileSamples samples; one thread at a time. What it throws ends the work.
    std::function<void(std::uint32_t tileRow, std::uint32_t tileColumn, void* samples)> read;
};

struct GeocodeOptions {
    std::string system;     ///< "EPSG:32633", WKT or a PROJ string
    double resolution = 0;  ///< of the result, in units of the system; 0 for the image's own
    std::string resampling; ///< nearest, bilinear or cubic
    std::string elevation;  ///< file; empty for heightM everywhere
    double heightM = 0;     ///< above the ellipsoid
    double noData = 0;      ///< the value of pixels that the image does not show
    bool cloudOptimized = false;
    std::size_t maxMemory = 0; ///< bytes
};

/// Writes the image as a map in another system, a GeoTIFF: through the RPC when there is one, else
/// the geotransform or the GCPs. The file appears whole or not at all.
/// @throws std::runtime_error naming the file and the reason, or what the source threw.
/// @return false when keepGoing ended it.
RF_PLATFORM_API bool geocode(const TileSource& source, const std::string& path,
                             const GeocodeOptions& options, const KeepGoing& keepGoing);

} // namespace kimg
