// SPDX-License-Identifier: MIT
#include "kimg/dataset_session.h"

#include <ogr_srs_api.h>

#include <memory>

namespace kimg {
namespace {

struct SystemRelease {
    void operator()(void* system) const { OSRRelease(static_cast<OGRSpatialReferenceH>(system)); }
};
using System = std::unique_ptr<void, SystemRelease>;

System systemOf(const std::string& wkt) {
    System system(OSRNewSpatialReference(nullptr));
    std::string text = wkt;
    char* read = text.data();
    if (wkt.empty() || OSRImportFromWkt(system.get(), &read) != OGRERR_NONE)
        return nullptr;
    OSRSetAxisMappingStrategy(system.get(), OAMS_TRADITIONAL_GIS_ORDER);
    return system;
}

void setGcps(GDALDatasetH dataset, const Georeferencing& place, OGRSpatialReferenceH system) {
    std::vector<GDAL_GCP> gcps(place.gcps.size());
    std::vector<std::string> ids(place.gcps.size());
    std::string noInfo;
    for (std::size_t i = 0; i < gcps.size(); ++i) {
        const GroundControlPoint& point = place.gcps[i];
        ids[i] = std::to_string(i + 1);
        gcps[i] = {ids[i].data(), noInfo.data(), point.pixel, point.line,
                   point.x,       point.y,       point.z};
    }
    GDALSetGCPs2(dataset, static_cast<int>(gcps.size()), gcps.data(), system);
}

} // namespace

void setPlace(GDALDatasetH dataset, const Georeferencing& place) {
    const System system = systemOf(place.wkt);
    if (place.geoTransform) {
        auto transform = *place.geoTransform;
        GDALSetGeoTransform(dataset, transform.data());
        if (system)
            GDALSetSpatialRef(dataset, system.get());
    } else if (!place.gcps.empty()) {
        setGcps(dataset, place, system.get());
    }
    Options rpc;
    for (const auto& [name, text] : place.rpc)
        rpc.set(name.c_str(), text);
    if (rpc.list())
        GDALSetMetadata(dataset, rpc.list(), "RPC");
}

int CPL_STDCALL askToKeepGoing(double done, const char*, void* keepGoing) {
    return (*static_cast<const KeepGoing*>(keepGoing))(done) ? TRUE : FALSE;
}

} // namespace kimg
