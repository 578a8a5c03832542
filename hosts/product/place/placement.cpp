#include "product/place/placement.h"

#include "kxfr/part.h"
#include "product/place/georeferencing.h"
#include "product/place/rpc_items.h"

#include <algorithm>
#include <cmath>

namespace product {
namespace {

constexpr int tiesPerSide = 11;
constexpr double maxRpcErrorPixels = 0.1;

/// @return the affine transform from pixels to the map when the image is a map.
const kxfr::AffineData* affineOf(const KxfrXForm& transform) {
    const auto& parts = transform.parts();
    const bool turnsOnly = std::all_of(parts.begin(), parts.end() - 1, [](const auto& part) {
        return part->designName() == "LongitudeTurn";
    });
    if (!turnsOnly || parts.back()->designName() != "Affine")
        return nullptr;
    return static_cast<const kxfr::AffineData*>(parts.back()->data());
}

/// From the centre of the image's first pixel to the outer corner of the window's.
std::array<double, 6> geoTransformOf(const kxfr::AffineData& affine, const Window& window) {
    const double sample = window.x - 0.5, line = window.y - 0.5;
    const auto& [x, y] = affine;
    return {x[0] + x[1] * sample + x[2] * line, x[1], x[2],
            y[0] + y[1] * sample + y[2] * line, y[1], y[2]};
}

std::vector<kimg::GroundControlPoint> gcpGrid(const KxfrXForm& transform, const Window& window) {
    std::vector<KxfrPixel> pixels;
    for (int row = 0; row < tiesPerSide; ++row)
        for (int column = 0; column < tiesPerSide; ++column)
            pixels.push_back({window.x + (window.width - 1.0) * column / (tiesPerSide - 1),
                              window.y + (window.height - 1.0) * row / (tiesPerSide - 1)});
    const double height = transform.sceneHeightM();
    std::vector<KxfrMapPoint> map(pixels.size(), {0, 0, height});
    transform.pixelToMap(pixels, map);
    std::vector<kimg::GroundControlPoint> gcps;
    for (std::size_t i = 0; i < map.size(); ++i)
        if (!std::isnan(map[i].x))
            gcps.push_back({pixels[i].sample - window.x + 0.5, pixels[i].line - window.y + 0.5,
                            map[i].x, map[i].y, height});
    return gcps;
}

/// The EPSG code of a system in which longitudes and latitudes do not break; 0 when they are fine.
int unbrokenSystem(const std::vector<kimg::GroundControlPoint>& gcps) {
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
    const bool eastOfIt = std::count_if(gcps.begin(), gcps.end(), [](const auto& gcp) {
                              return gcp.x < 0;
                          }) > static_cast<std::ptrdiff_t>(gcps.size() / 2);
    return (north->y + south->y >= 0 ? utmNorth : utmSouth) + (eastOfIt ? 1 : 60);
}

void avoidBreaks(kimg::Georeferencing& place, const std::string& layer) {
    const int epsg = place.gcps.empty() ? 0 : unbrokenSystem(place.gcps);
    if (epsg == 0)
        return;
    kerr::Slot slot;
    const KprjProjectionPtr projection(
        kprj_ProjectionFromText("EPSG:" + std::to_string(epsg), slot));
    const auto converter =
        projection ? KprjGeographicConverter::create(*projection, slot) : nullptr;
    if (!converter)
        throw loader::Error("layer " + layer + ": " + kerr_Text(slot.get()));
    auto& first = place.gcps.front();
    converter->fromGeographic(&first.x, &first.y, sizeof first, place.gcps.size());
    place.wkt = projection->wkt;
}

void addRpc(Placement& placement, const sarm::SensorModel& model, const Window& window) {
    auto rpc = sarm::fitRpc(model);
    if (!rpc || std::max(rpc->maxLineError, rpc->maxSampleError) > maxRpcErrorPixels) {
        placement.remarks = "rational polynomials do not fit this scene and are left out";
        return;
    }
    rpc->lineOffset -= window.y;
    rpc->sampleOffset -= window.x;
    placement.place.rpc = rpcItems(*rpc);
}

} // namespace

Placement placementOf(const OpenedProduct& opened, const loader::Layer& layer,
                      const Window& window) {
    const loader::Georeferencing found = georeferencingOf(opened, layer);
    Placement placement;
    placement.remarks = found.remarks;
    if (!found.transform)
        return placement;
    placement.sceneHeightM = found.transform->sceneHeightM();
    if (found.projection)
        placement.place.wkt = found.projection->wkt;
    if (const auto* affine = affineOf(*found.transform)) {
        placement.place.geoTransform = geoTransformOf(*affine, window);
        return placement;
    }
    placement.place.gcps = gcpGrid(*found.transform, window);
    if (found.projection && found.projection->isGeographic)
        avoidBreaks(placement.place, layer.name());
    if (const sarm::SensorModel* model = found.transform->sensorModel())
        addRpc(placement, *model, window);
    return placement;
}

} // namespace product
