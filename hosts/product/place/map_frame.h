#pragma once

#include "product/place/locator.h"
#include "product/place/placement.h"

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace product {

/// A map that an image is drawn on: square pixels, north up.
struct MapFrame {
    std::string wkt;
    double left = 0, top = 0; ///< outer corner of the first pixel; x east or longitude
    double step = 0;          ///< size of a pixel in units of the system
    std::uint32_t width = 0, height = 0;
    double reduction = 1; ///< pixels of the image to one of the map, along a side

    std::array<double, 6> geoTransform() const { return {left, step, 0, top, 0, -step}; }
};

/// A place on a map, in its units or its pixels.
struct MapPoint {
    double x, y;
};

/// What a map is asked to be.
struct MapRequest {
    std::string system;    ///< "EPSG:32633", WKT or a PROJ string
    double resolution = 0; ///< in units of the system; 0 for the image's own at its centre
    std::string elevation; ///< file of an elevation model; empty for the scene's height everywhere
};

/// Finds the pixels of a layer's image that the pixels of a map show, through the layer's sensor
/// model or its own georeferencing. One thread at a time.
class MapPositions {
public:
    /// @throws loader::Error naming layer, system or elevation model that cannot serve.
    MapPositions(const OpenedProduct& opened, const loader::Layer& layer,
                 const MapRequest& request);

    /// @return the smallest frame that shows the whole image, its edges at multiples of the
    ///         resolution. Geographic maps across the antimeridian go on beyond 180 degrees.
    /// @throws loader::Error when the system does not show the image, or only out of proportion.
    MapFrame frameOf() const;

    /// @param part  of the frame.
    /// @param pixels  receives, line by line, image positions from 0 at the centre of the first
    ///        pixel; NaN where the map's pixel has none. Exact, or interpolated between exact ones
    ///        to 0.01 pixel.
    void find(const MapFrame& frame, const Window& part, std::vector<KxfrPixel>& pixels) const;

    const Locator& locator() const { return locator_; }

private:
    using Points = std::vector<MapPoint>;

    Points outline(double heightM) const;
    std::vector<double> outlineHeights() const;
    double ownStep() const;
    void toMap(const std::vector<KxfrMapPoint>& ground, Points& map) const;
    Points groundAt(const MapFrame& frame, const Points& mapPixels) const;
    Points imageAt(const Points& ground) const;

    std::string layerName_, system_;
    double width_, height_, resolution_;
    Locator locator_;
    KprjProjectionPtr projection_;
    std::unique_ptr<KprjGeographicConverter> converter_;
    std::unique_ptr<kimg::ElevationModel> elevation_;
};

} // namespace product
