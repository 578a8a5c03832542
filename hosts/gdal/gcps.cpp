// SPDX-License-Identifier: MIT
#include "gcps.h"

#include <cpl_conv.h>

#include <string>

namespace rf_sar_gdal {

GcpList::GcpList(const std::vector<kimg::GroundControlPoint>& ties) : gcps_(ties.size()) {
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

} // namespace rf_sar_gdal
