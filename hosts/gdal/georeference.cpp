#include "georeference.h"

#include "kimg/georeferencing.h"

#include <cpl_string.h>

namespace rf_sar_gdal {
namespace {

kimg::Georeferencing ofImageFile(const ProductImage* image) {
    if (!image || !image->samples())
        return {};
    kerr::Slot slot;
    auto found = kimg::georeferencing(image->samples()->layer(), slot);
    if (!found)
        throw loader::Error(image->file +
                            ": its georeferencing cannot be read: " + kerr_Text(slot.get()));
    return *std::move(found);
}

OGRSpatialReference systemOf(const std::string& wkt) {
    OGRSpatialReference system;
    if (!wkt.empty())
        system.importFromWkt(wkt.c_str());
    system.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    return system;
}

/// The product counts from the centre of the first pixel, GDAL from its outer corner.
std::vector<GroundTie> tiesOf(const std::vector<product::TiePoint>& points) {
    std::vector<GroundTie> ties;
    ties.reserve(points.size());
    for (const product::TiePoint& point : points)
        ties.push_back(
            {point.sample + 0.5, point.line + 0.5, point.lonDeg, point.latDeg, point.heightM});
    return ties;
}

void setTies(Georeference& reference, std::vector<GroundTie> ties) {
    reference.system = avoidBreaks(ties);
    reference.gcps = GcpList(ties);
}

void addOwnTies(Georeference& reference, const OpenedProduct& opened,
                const kimg::Georeferencing& file) {
    std::vector<GroundTie> ties = tiesOf(opened.stated().tiePoints());
    if (!ties.empty())
        return setTies(reference, std::move(ties));
    for (const kimg::GroundControlPoint& gcp : file.gcps)
        ties.push_back({gcp.pixel, gcp.line, gcp.x, gcp.y, gcp.z});
    const OGRSpatialReference system = systemOf(file.wkt);
    if (system.IsGeographic())
        return setTies(reference, std::move(ties));
    reference.system = system;
    reference.gcps = GcpList(ties);
}

void addModelTies(Georeference& reference, const SharedGrid& grid, const ProductImage* image) {
    if (grid.model() && image)
        setTies(reference, grid.ties(image->samples()->width(), image->samples()->height()));
}

product::RpcItems ownRpc(const OpenedProduct& opened, const kimg::Georeferencing& file) {
    product::RpcItems rpc = opened.stated().rationalFunctions();
    return rpc.empty() ? file.rpc : rpc;
}

[[noreturn]] void refuse(const OpenedProduct& opened, const std::string& wanted,
                         const std::string& why) {
    throw loader::Error(opened.name() + ": there is no " + wanted +
                        (why.empty() ? "" : " (" + why + ")"));
}

} // namespace

GeorefChoice parseGeorefChoice(const std::string& text) {
    for (const auto& [name, choice] : {std::pair{"", GeorefChoice::automatic},
                                       {"AUTO", GeorefChoice::automatic},
                                       {"MODEL", GeorefChoice::model},
                                       {"RPC", GeorefChoice::rpc},
                                       {"GCP", GeorefChoice::gcp},
                                       {"PRODUCT", GeorefChoice::product}})
        if (EQUAL(text.c_str(), name))
            return choice;
    throw loader::Error("GEOREF=" + text + ": is none of AUTO, MODEL, RPC, GCP, PRODUCT, MAP");
}

Georeference georeference(const OpenedProduct& opened, const ProductImage* image,
                          GeorefChoice choice) {
    using enum GeorefChoice;
    Georeference reference;
    if (choice == rpc)
        return reference;
    const kimg::Georeferencing file = ofImageFile(image);
    if (file.geoTransform && (choice == automatic || choice == product)) {
        reference.geoTransform = file.geoTransform;
        reference.system = systemOf(file.wkt);
        return reference;
    }
    if (choice != model)
        addOwnTies(reference, opened, file);
    if (choice == product || reference.gcps.count() > 0)
        return reference;
    const SharedGrid grid = sharedGrid(opened);
    addModelTies(reference, grid, image);
    if (reference.gcps.count() == 0 && choice != automatic)
        refuse(opened, choice == model ? "sensor model" : "tie point", grid.place.remarks);
    return reference;
}

product::RpcItems rationalFunctions(const OpenedProduct& opened, const ProductImage* image,
                                    GeorefChoice choice) {
    using enum GeorefChoice;
    const kimg::Georeferencing file = ofImageFile(image);
    if (choice == gcp || (file.geoTransform && (choice == automatic || choice == product)))
        return {};
    const SharedGrid grid = choice == product ? SharedGrid{} : sharedGrid(opened);
    product::RpcItems items = grid.rpc();
    if (items.empty() && choice != model)
        items = ownRpc(opened, file);
    if (items.empty() && (choice == model || choice == rpc))
        refuse(opened, "rational function", grid.place.remarks);
    return items;
}

} // namespace rf_sar_gdal
