// SPDX-License-Identifier: MIT
#pragma once

#include "sarm/rpc.h"

#include <algorithm>
#include <gdal.h>

namespace support {

/// Our rational polynomials as GDAL takes them, valid everywhere.
inline GDALRPCInfoV2 gdalRpc(const sarm::Rpc& rpc) {
    GDALRPCInfoV2 info{};
    info.dfLINE_OFF = rpc.lineOffset;
    info.dfSAMP_OFF = rpc.sampleOffset;
    info.dfLAT_OFF = rpc.latOffsetDeg;
    info.dfLONG_OFF = rpc.lonOffsetDeg;
    info.dfHEIGHT_OFF = rpc.heightOffsetM;
    info.dfLINE_SCALE = rpc.lineScale;
    info.dfSAMP_SCALE = rpc.sampleScale;
    info.dfLAT_SCALE = rpc.latScaleDeg;
    info.dfLONG_SCALE = rpc.lonScaleDeg;
    info.dfHEIGHT_SCALE = rpc.heightScaleM;
    std::copy_n(rpc.lineNumerator.begin(), 20, info.adfLINE_NUM_COEFF);
    std::copy_n(rpc.lineDenominator.begin(), 20, info.adfLINE_DEN_COEFF);
    std::copy_n(rpc.sampleNumerator.begin(), 20, info.adfSAMP_NUM_COEFF);
    std::copy_n(rpc.sampleDenominator.begin(), 20, info.adfSAMP_DEN_COEFF);
    info.dfMIN_LONG = -180;
    info.dfMAX_LONG = 180;
    info.dfMIN_LAT = -90;
    info.dfMAX_LAT = 90;
    return info;
}

} // namespace support
