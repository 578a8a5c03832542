#pragma once

#include <gdal.h>
#include <ogr_spatialref.h>

#include <vector>

namespace rf_sar_gdal {

/// A tie between image and ground as GDAL counts: (0, 0) is the outer corner of the first pixel.
struct GroundTie {
    double pixel = 0, line = 0;
    double x = 0, y = 0, z = 0; ///< x east or longitude, y north or latitude
};

/// GDAL's array of GCPs and the texts it points to. Move-only.
class GcpList {
public:
    GcpList() = default;
    explicit GcpList(const std::vector<GroundTie>& ties);
    GcpList(const GcpList&) = delete;
    GcpList& operator=(const GcpList&) = delete;
    GcpList(GcpList&& other) noexcept { gcps_.swap(other.gcps_); }
    GcpList& operator=(GcpList&& other) noexcept {
        gcps_.swap(other.gcps_);
        return *this;
    }
    ~GcpList();

    int count() const { return static_cast<int>(gcps_.size()); }
    const GDAL_GCP* data() const { return gcps_.data(); }

private:
    std::vector<GDAL_GCP> gcps_;
};

/// Takes ties whose coordinates are WGS 84 longitudes and latitudes over to a system in which they
/// do not break: where they cross the antimeridian to UTM, beyond 84 degrees to polar
/// stereographic (UPS). Elsewhere they stay as they are.
/// @return the system that they are in afterwards.
OGRSpatialReference avoidBreaks(std::vector<GroundTie>& ties);

/// @return WGS 84 longitude and latitude, in this order.
OGRSpatialReference longitudeLatitude();

} // namespace rf_sar_gdal
