// SPDX-License-Identifier: MIT
#pragma once

#include "kimg/georeferencing.h"

#include <gdal.h>

#include <vector>

namespace rf_sar_gdal {

/// GDAL's array of GCPs and the texts it points to. Move-only.
class GcpList {
public:
    GcpList() = default;
    explicit GcpList(const std::vector<kimg::GroundControlPoint>& ties);
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

} // namespace rf_sar_gdal
