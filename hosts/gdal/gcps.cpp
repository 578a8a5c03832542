#include "gcps.h"

#include "loader/plugin.h"

#include <cpl_conv.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>

namespace rf_sar_gdal {
namespace {

constexpr double polarLatitudeDeg = 84; // where UTM ends
constexpr int upsNorth = 5041;          // easting, northing
constexpr int upsSouth = 5042;

struct TransformDeleter {
    void operator()(OGRCoordinateTransformation* transform) const {
        OGRCoordinateTransformation::DestroyCT(transform);
    }
};

OGRSpatialReference fromEpsg(int code) {
    OGRSpatialReference system;
    if (system.importFromEPSG(code) != OGRERR_NONE)
        throw loader::Error("coordinate system EPSG:" + std::to_string(code) + " is not known");
    system.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    return system;
}

OGRSpatialReference utmAround(const std::vector<GroundTie>& ties) {
    double lon = 0, lat = 0;
    for (const GroundTie& tie : ties) {
        lon += tie.x < 0 ? tie.x + 360 : tie.x; // only asked for around the antimeridian
        lat += tie.y;
    }
    const auto count = static_cast<double>(ties.size());
    const double middle = std::remainder(lon / count, 360.0);
    const int zone = std::clamp(static_cast<int>(std::floor((middle + 180) / 6)) + 1, 1, 60);
    return fromEpsg((lat >= 0 ? 32600 : 32700) + zone);
}

void convert(std::vector<GroundTie>& ties, const OGRSpatialReference& to) {
    const OGRSpatialReference from = longitudeLatitude();
    const std::unique_ptr<OGRCoordinateTransformation, TransformDeleter> transform(
        OGRCreateCoordinateTransformation(&from, &to));
    for (GroundTie& tie : ties)
        if (!transform || !transform->Transform(1, &tie.x, &tie.y))
            throw loader::Error("tie points cannot be taken over to a map projection");
}

} // namespace

GcpList::GcpList(const std::vector<GroundTie>& ties) : gcps_(ties.size()) {
    GDALInitGCPs(count(), gcps_.data());
    for (std::size_t i = 0; i < ties.size(); ++i) {
        CPLFree(gcps_[i].pszId);
        gcps_[i].pszId = CPLStrdup(std::to_string(i + 1).c_str());
        gcps_[i].dfGCPPixel = ties[i].pixel;
        gcps_[i].dfGCPLine = ties[i].line;
        gcps_[i].dfGCPX = ties[i].x;
        gcps_[i].dfGCPY = ties[i].y;
        gcps_[i].dfGCPZ = ties[i].z;
    }
}

GcpList::~GcpList() {
    if (!gcps_.empty())
        GDALDeinitGCPs(count(), gcps_.data());
}

OGRSpatialReference longitudeLatitude() {
    OGRSpatialReference system;
    system.SetWellKnownGeogCS("WGS84");
    system.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    return system;
}

OGRSpatialReference avoidBreaks(std::vector<GroundTie>& ties) {
    if (ties.empty())
        return longitudeLatitude();
    const auto [west, east] = std::minmax_element(
        ties.begin(), ties.end(), [](const auto& a, const auto& b) { return a.x < b.x; });
    const auto [south, north] = std::minmax_element(
        ties.begin(), ties.end(), [](const auto& a, const auto& b) { return a.y < b.y; });
    OGRSpatialReference system;
    if (north->y > polarLatitudeDeg)
        system = fromEpsg(upsNorth);
    else if (south->y < -polarLatitudeDeg)
        system = fromEpsg(upsSouth);
    else if (east->x - west->x > 180)
        system = utmAround(ties);
    else
        return longitudeLatitude();
    convert(ties, system);
    return system;
}

} // namespace rf_sar_gdal
