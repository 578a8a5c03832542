// SPDX-License-Identifier: MIT
#include "kimg/georeferencing.h"

#include "kimg/layer.h"
#include "kmsc/kmsc.h"
#include "kstr/kstr.h"
#include "ktxt/ktxt.h"

#include <cpl_conv.h>
#include <cpl_string.h>
#include <gdal.h>
#include <ogr_srs_api.h>

#include <cmath>
#include <memory>

namespace {

using kimg::DatasetLease;
using kimg::Georeferencing;
using kimg::ImageError;
using kimg::wktOf;

std::optional<std::array<double, 6>> geoTransformOf(GDALDatasetH dataset) {
    std::array<double, 6> transform;
    if (GDALGetGeoTransform(dataset, transform.data()) != CE_None)
        return std::nullopt;
    return transform;
}

Georeferencing readGeoreferencing(GDALDatasetH dataset) {
    Georeferencing found;
    found.geoTransform = geoTransformOf(dataset);
    const GDAL_GCP* gcps = GDALGetGCPs(dataset);
    for (int i = 0; i < GDALGetGCPCount(dataset); ++i)
        found.gcps.push_back({gcps[i].dfGCPPixel, gcps[i].dfGCPLine, gcps[i].dfGCPX, gcps[i].dfGCPY,
                              gcps[i].dfGCPZ});
    found.wkt = wktOf(found.geoTransform || found.gcps.empty() ? GDALGetSpatialRef(dataset)
                                                               : GDALGetGCPSpatialRef(dataset));
    for (CSLConstList item = GDALGetMetadata(dataset, "RPC"); item && *item; ++item) {
        const std::string text = *item;
        const auto equals = text.find('=');
        if (equals != std::string::npos)
            found.rpc.emplace_back(text.substr(0, equals), text.substr(equals + 1));
    }
    return found;
}

std::string projectionName(OGRSpatialReferenceH system) {
    const char* name = system ? OSRGetName(system) : nullptr;
    if (system && OSRIsGeographic(system))
        return "Geographic (Lat/Lon)";
    return name ? name : "Unknown";
}

std::string unitsName(OGRSpatialReferenceH system) {
    if (!system || OSRIsLocal(system))
        return "Unknown";
    if (OSRIsGeographic(system))
        return "degrees";
    char* name = nullptr; // stays the system's
    return OSRGetLinearUnits(system, &name) == 1.0 || !name ? "meters" : name;
}

struct MapInfoFree {
    void operator()(KIMG_MAP_INFO* info) const { kimg_MapInfoFree(info); }
};

KIMG_MAP_INFO* mapInfo(const KIMG_LAYER& layer) {
    const DatasetLease lease(layer.file);
    const auto transform = geoTransformOf(lease.handle());
    if (!transform)
        return nullptr;
    const auto& t = *transform;
    const auto x = [&](double column, double line) { return t[0] + t[1] * column + t[2] * line; };
    const auto y = [&](double column, double line) { return t[3] + t[4] * column + t[5] * line; };
    std::unique_ptr<KIMG_MAP_INFO, MapInfoFree> info(kmsc::makeArray<KIMG_MAP_INFO>(1).release());
    if (!info)
        throw std::bad_alloc();
    info->upperLeftX = x(0.5, 0.5);
    info->upperLeftY = y(0.5, 0.5);
    info->lowerRightX = x(layer.width - 0.5, layer.height - 0.5);
    info->lowerRightY = y(layer.width - 0.5, layer.height - 0.5);
    info->pixelSizeX = std::hypot(t[1], t[4]);
    info->pixelSizeY = std::hypot(t[2], t[5]);
    const OGRSpatialReferenceH system = GDALGetSpatialRef(lease.handle());
    info->projectionName = kstr_Duplicate(ktxt::widenLossy(projectionName(system)));
    info->unitsName = kstr_Duplicate(ktxt::widenLossy(unitsName(system)));
    if (!info->projectionName || !info->unitsName)
        throw std::bad_alloc();
    return info.release();
}

} // namespace

KIMG_MAP_INFO* kimg_MapInfoRead(KIMG_LAYER* layer, KERR_REPORT** slot) {
    return kerr::reported("kimg_MapInfoRead", slot, [&] {
        if (!layer)
            throw ImageError("there is no layer to read");
        return mapInfo(*layer);
    });
}

void kimg_MapInfoFree(KIMG_MAP_INFO* info) {
    if (!info)
        return;
    kmsc_HeapFree(info->projectionName);
    kmsc_HeapFree(info->unitsName);
    kmsc_HeapFree(info);
}

namespace kimg {

std::optional<Georeferencing> georeferencing(const KIMG_LAYER* layer, KERR_REPORT** slot) {
    return kerr::reported("kimg::georeferencing", slot, [&] {
        if (!layer)
            throw ImageError("there is no layer to read");
        const DatasetLease lease(layer->file);
        return std::optional(readGeoreferencing(lease.handle()));
    });
}

} // namespace kimg
