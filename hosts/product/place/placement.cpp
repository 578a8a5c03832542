// SPDX-License-Identifier: MIT
#include "product/place/placement.h"

#include "kxfr/part.h"
#include "loader/heard.h"
#include "product/place/stated_place.h"

#include <algorithm>
#include <cmath>

namespace product {
namespace {

using kimg::GroundControlPoint;

constexpr int tiesPerSide = 11;

/// Converts positions from the centre of the image's first pixel to the outer corner of the
/// window's first pixel.
std::array<double, 6> geoTransformOf(const kxfr::AffineData& affine, const Window& window) {
    const double sample = window.x - 0.5, line = window.y - 0.5;
    const auto& [x, y] = affine;
    return {x[0] + x[1] * sample + x[2] * line, x[1], x[2],
            y[0] + y[1] * sample + y[2] * line, y[1], y[2]};
}

std::vector<TiePoint> tieGrid(const KxfrXForm& transform, const Window& window) {
    std::vector<KxfrPixel> pixels;
    for (int row = 0; row < tiesPerSide; ++row)
        for (int column = 0; column < tiesPerSide; ++column)
            pixels.push_back({window.x + (window.width - 1.0) * column / (tiesPerSide - 1),
                              window.y + (window.height - 1.0) * row / (tiesPerSide - 1)});
    const double height = transform.sceneHeightM();
    std::vector<KxfrMapPoint> map(pixels.size(), {0, 0, height});
    transform.pixelToMap(pixels, map);
    std::vector<TiePoint> ties;
    for (std::size_t i = 0; i < map.size(); ++i)
        if (!std::isnan(map[i].x))
            ties.push_back({pixels[i].line, pixels[i].sample, map[i].y, map[i].x, height});
    return ties;
}

int utmZoneOf(const std::vector<GroundControlPoint>& gcps) {
    double sum = 0;
    for (const GroundControlPoint& gcp : gcps)
        sum += gcp.x < 0 ? gcp.x + 360 : gcp.x; // only asked for around the antimeridian
    const double middle = std::remainder(sum / static_cast<double>(gcps.size()), 360.0);
    return std::clamp(static_cast<int>(std::floor((middle + 180) / 6)) + 1, 1, 60);
}

/// The EPSG code of a system for places where longitudes and latitudes break; 0 when they do not.
int unbrokenSystem(const std::vector<GroundControlPoint>& gcps) {
    constexpr double polarDeg = 84; // where UTM ends
    constexpr int upsNorth = 5041, upsSouth = 5042, utmNorth = 32600, utmSouth = 32700;
    const auto [west, east] = std::minmax_element(
        gcps.begin(), gcps.end(), [](const auto& a, const auto& b) { return a.x < b.x; });
    const auto [south, north] = std::minmax_element(
        gcps.begin(), gcps.end(), [](const auto& a, const auto& b) { return a.y < b.y; });
    if (north->y > polarDeg)
        return upsNorth;
    if (south->y < -polarDeg)
        return upsSouth;
    if (east->x - west->x <= 180)
        return 0;
    return (north->y + south->y >= 0 ? utmNorth : utmSouth) + utmZoneOf(gcps);
}

bool fits(const sarm::Rpc& rpc) {
    return std::max(rpc.maxLineError, rpc.maxSampleError) <= functionsServePixels;
}

std::optional<sarm::Rpc> rpcOfModel(const OpenedProduct& opened, const Place& place,
                                    std::string& remarks) {
    const sarm::SensorModel& model = *place.transform->sensorModel();
    if (const auto fitted = sarm::fitRpc(model); fitted && fits(*fitted))
        return fitted;
    const sarm::ImageSize size = model.imageSize();
    std::optional<StatedFunctions> own;
    try {
        own = functionsOf(statedByProduct(opened.stated(), static_cast<std::uint32_t>(size.samples),
                                          static_cast<std::uint32_t>(size.lines)));
    } catch (const loader::Error&) {
        // The checks report damaged statements.
    }
    if (own && sarm::measureRpc(own->rpc, model) && fits(own->rpc)) {
        remarks = "no rational functions fit the sensor model of this scene: the product's own, "
                  "which do, are passed on";
        return own->rpc;
    }
    remarks = "rational functions do not fit this scene to 0.1 pixel and are left out";
    return std::nullopt;
}

} // namespace

kimg::Georeferencing withoutBreaks(std::vector<GroundControlPoint> gcps) {
    kimg::Georeferencing place;
    place.gcps = std::move(gcps);
    if (place.gcps.empty())
        return place;
    const int epsg = unbrokenSystem(place.gcps);
    kerr::Slot slot;
    const KprjProjectionPtr projection(
        epsg == 0 ? kprj_GeographicWgs84(slot)
                  : kprj_ProjectionFromText("EPSG:" + std::to_string(epsg), slot));
    const auto converter =
        projection && epsg != 0 ? KprjGeographicConverter::create(*projection, slot) : nullptr;
    if (!projection || (epsg != 0 && !converter))
        throw loader::Error("tie points cannot be taken to EPSG:" + std::to_string(epsg) + ": " +
                            loader::Heard::text(*slot.get()));
    auto& first = place.gcps.front();
    if (converter)
        converter->fromGeographic(&first.x, &first.y, sizeof first, place.gcps.size());
    place.wkt = projection->wkt;
    return place;
}

std::vector<GroundControlPoint> gcpsOf(const std::vector<TiePoint>& ties, const Window& window) {
    std::vector<GroundControlPoint> gcps;
    gcps.reserve(ties.size());
    for (const TiePoint& tie : ties)
        gcps.push_back({tie.sample - window.x + 0.5, tie.line - window.y + 0.5, tie.lonDeg,
                        tie.latDeg, tie.heightM});
    return gcps;
}

kimg::Georeferencing placementOf(const Place& place, const Window& window) {
    if (place.source == PlaceSource::nothing)
        return {};
    if (place.source == PlaceSource::map) {
        kimg::Georeferencing found;
        if (place.projection)
            found.wkt = place.projection->wkt;
        const kxfr::Part& affine = *place.transform->parts().back();
        found.geoTransform =
            geoTransformOf(*static_cast<const kxfr::AffineData*>(affine.data()), window);
        return found;
    }
    return withoutBreaks(
        gcpsOf(place.ties.empty() ? tieGrid(*place.transform, window) : place.ties, window));
}

RpcItems publishedRpc(const OpenedProduct& opened, const Place& place, const Window& window,
                      std::string& remarks) {
    std::optional<sarm::Rpc> rpc = place.functions;
    if (place.source == PlaceSource::model)
        rpc = rpcOfModel(opened, place, remarks);
    if (!rpc)
        return {};
    rpc->lineOffset -= window.y;
    rpc->sampleOffset -= window.x;
    return rpcItems(*rpc);
}

} // namespace product
