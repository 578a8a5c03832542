// SPDX-License-Identifier: MIT
#include "kimg/gdal_session.h"

#include <cpl_conv.h>
#include <gdal.h>
#include <gdal_frmts.h>
#include <ogr_srs_api.h>

#include <memory>
#include <mutex>

namespace kimg {

void registerImageDrivers() {
    static std::once_flag once;
    std::call_once(once, [] {
        GDALRegister_GTiff();
        GDALRegister_NITF();
    });
}

void registerDrivers() {
    registerImageDrivers();
    static std::once_flag once;
    std::call_once(once, [] {
        GDALRegister_COG();
        GDALRegister_VRT();
        GDALRegister_MEM();
        GDALRegister_PNG();
        GDALRegister_JPEG();
        GDALRegister_SRTMHGT();
        GDALRegister_DTED();
        GDALRegister_AAIGrid();
        GDALRegister_GTX();
    });
}

const char* const* imageDrivers() {
    static constexpr const char* names[] = {"GTiff", "NITF", nullptr};
    return names;
}

const char* const* elevationDrivers() {
    static constexpr const char* names[] = {"GTiff",   "VRT", "SRTMHGT", "DTED",
                                            "AAIGrid", "GTX", nullptr};
    return names;
}

int gdalTypeOf(SampleType type) {
    switch (type) {
    case SampleType::uint16:
        return GDT_UInt16;
    case SampleType::int16:
        return GDT_Int16;
    case SampleType::float32:
        return GDT_Float32;
    case SampleType::complexInt16:
        return GDT_CInt16;
    case SampleType::complexFloat32:
        return GDT_CFloat32;
    case SampleType::complexFloat64:
        break;
    }
    return GDT_CFloat64;
}

std::string wktOf(void* system) {
    const char* const options[] = {"FORMAT=WKT2_2019", nullptr};
    char* text = nullptr;
    const bool written = system && OSRExportToWktEx(system, &text, options) == OGRERR_NONE;
    const std::unique_ptr<char, decltype(&VSIFree)> owner(text, VSIFree);
    return written ? text : "";
}

} // namespace kimg
