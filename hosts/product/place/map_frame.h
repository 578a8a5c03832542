// SPDX-License-Identifier: MIT
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
    kimg::ElevationSource elevation{}; ///< without paths: the scene's height everywhere
    bool anySize = false;              ///< maps that are never whole may be out of proportion
};

/// Finds the pixels of an image that the pixels of a map show. One thread at a time.
class MapPositions {
public:
    /// @param width,height  of the image.
    /// @param origin  as Locator has it.
    /// @throws loader::Error naming layer, system or elevation model that cannot serve.
    MapPositions(std::shared_ptr<const Place> place, std::uint32_t width, std::uint32_t height,
                 const MapRequest& request, KxfrPixel origin = {});
    /// For another thread: shares place and elevation model.
    MapPositions(const MapPositions& other);
    MapPositions& operator=(const MapPositions&) = delete;

    /// @return the smallest frame that shows the whole image, its edges at multiples of the
    ///         resolution. Geographic maps across the antimeridian go on beyond 180 degrees.
    /// @throws loader::Error when the system does not show the image, or only out of proportion.
    MapFrame frameOf() const;

    /// @param part  of the frame.
    /// @param pixels  receives, line by line, image positions from 0 at the centre of the first
    ///        pixel; NaN where the map's pixel has none. Exact, or interpolated between exact ones
    ///        to 1e-3 pixel of map or image, whichever is larger.
    void find(const MapFrame& frame, const Window& part, std::vector<KxfrPixel>& pixels) const;
    /// As above for any points of the map.
    /// @param reduction  pixels of the image from point to point, about; 1 or more.
    void find(const kimg::MapBlock& block, double reduction, std::vector<KxfrPixel>& pixels) const;

    const Locator& locator() const { return locator_; }
    /// @return null without elevation model, or where heights have no bearing.
    const kimg::ElevationModel* elevation() const { return elevation_.get(); }
    /// @return the share of the image, 0 to 1, whose ground the elevation model covers; 1 without.
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
