// SPDX-License-Identifier: MIT
#pragma once

#include "product/place/locator.h"
#include "product/place/placement.h"

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace product {

/// The pixel grid of a map: square pixels, north up.
struct MapFrame {
    std::string wkt;
    double left = 0, top = 0; ///< outer corner of the first pixel; x east or longitude
    double step = 0;          ///< size of a pixel in units of the system
    std::uint32_t width = 0, height = 0;
    double reduction = 1; ///< image pixels per map pixel, along a side

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
    kimg::ElevationSource elevation{}; ///< without paths: the scene's height everywhere
    bool anySize = false; ///< no limit on the map's size, for maps that are never drawn whole
};

/// Finds the pixels of an image that the pixels of a map show. One thread at a time.
class MapPositions {
public:
    /// @param width,height  of the image.
    /// @param origin  as Locator has it.
    /// @throws loader::Error naming the layer, system or elevation model that cannot be used.
    MapPositions(std::shared_ptr<const Place> place, std::uint32_t width, std::uint32_t height,
                 const MapRequest& request, KxfrPixel origin = {});
    /// For another thread: shares place and elevation model.
    MapPositions(const MapPositions& other);
    MapPositions& operator=(const MapPositions&) = delete;

    /// @return the smallest frame that shows the whole image, with edges at multiples of the
    ///         resolution. Geographic maps across the antimeridian continue beyond 180 degrees.
    /// @throws loader::Error when the system cannot show the image, or the map would be
    ///         unreasonably large.
    MapFrame frameOf() const;

    /// @param part  of the frame.
    /// @param pixels  receives the image positions line by line, counted from 0 at the centre of
    ///        the first pixel; NaN where a map pixel has none. They are exact, or interpolated
    ///        between exact ones to 1e-3 pixel of map or image, whichever is larger.
    void find(const MapFrame& frame, const Window& part, std::vector<KxfrPixel>& pixels) const;
    /// As above for any points of the map.
    /// @param reduction  approximate distance between points in image pixels, 1 or more.
    void find(const kimg::MapBlock& block, double reduction, std::vector<KxfrPixel>& pixels) const;

    const Locator& locator() const { return locator_; }
    /// @return null without elevation model, or where heights do not matter.
    const kimg::ElevationModel* elevation() const { return elevation_.get(); }
    /// @return the share of the image, 0 to 1, that the elevation model covers; 1 without model.
    double coverage() const;

private:
    using Points = std::vector<MapPoint>;

    Points outline(double heightM) const;
    std::vector<double> outlineHeights() const;
    double ownStep() const;
    void toMap(const std::vector<KxfrMapPoint>& ground, Points& map) const;

    std::string layerName_, system_;
    double width_, height_, resolution_;
    bool anySize_;
    Locator locator_;
    std::shared_ptr<const KPRJ_PROJECTION> projection_;
    std::unique_ptr<KprjGeographicConverter> converter_;
    std::unique_ptr<kimg::ElevationModel> elevation_;
    mutable std::vector<KxfrMapPoint> ground_; ///< kept from call to call
};

} // namespace product
